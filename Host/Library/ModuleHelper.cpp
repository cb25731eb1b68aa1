// rho-module-helper: the child process in which a host's library describes a module (ModuleDescription.h).

#include "Host/Library/ModuleDescription.h"

#include <cstdio>

int main(int argc, char** argv) {
  RunAsModuleHelper(argc, argv);
  std::fputs("rho-module-helper: for the library that describes encoder modules, not to be started by hand\n", stderr);
  return 2;
}
