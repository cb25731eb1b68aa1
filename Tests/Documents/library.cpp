// The library for hosts from C++.
#include <rho.hpp>

int main() {
  const std::string samples(12 * 10007, 'x');
  std::string taken;
  const auto write = [&taken](const rho::Packet& packet) {
    taken.append(reinterpret_cast<const char*>(packet.bytes), packet.size);
  };
  // @BLOCK@
  return taken == samples ? 0 : 1;
}
