/* The library for hosts from C. */
#include <rho.h>

#include <stdio.h>

static size_t taken = 0;

static int write_packet(void* context, const rho_packet* packet) {
  taken += context != NULL ? packet->size : 0;
  return 0;
}

int main(void) {
  static const char samples[4 * 10007];
  const size_t size = sizeof samples;
  FILE* const file = stdout;
  /* @BLOCK@ */
  return taken == size ? 0 : 1;
}
