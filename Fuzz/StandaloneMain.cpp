// Runs a fuzz target over all inputs in a folder, with any compiler and without a fuzzer: StandaloneMain FOLDER

#include "Fuzz/Fuzz.h"

int main(int count, char** arguments) {
  int inputs = 0;
  for (const auto& entry : fs::directory_iterator(count == 2 ? arguments[1] : "")) {
    std::fprintf(stderr, "%s\n", entry.path().c_str());  // the last one, if it stops the program
    const std::string input = ReadFile(entry.path().string());
    const std::vector<unsigned char> bytes(input.begin(), input.end());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    ++inputs;
  }
  // An empty folder is an error: the run would show nothing.
  return inputs == 0 ? EXIT_FAILURE : EXIT_SUCCESS;
}
