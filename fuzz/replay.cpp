// Runs a fuzz target over the files of a folder, once each, where there is no fuzzer to do it.
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

int main(int argc, char** argv) try {
  if (argc != 2) {
    std::cerr << "usage: " << argv[0] << " FOLDER\n";
    return 2;
  }
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
    // Told before it runs: the last one named is the one that fails.
    std::cout << entry.path().filename().string() << std::endl;
    std::ifstream file(entry.path(), std::ios::binary);
    const std::vector<char> text((std::istreambuf_iterator<char>(file)), {});
    const std::vector<std::uint8_t> bytes(text.begin(), text.end());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    ++count;
  }
  std::cout << count << " inputs\n";
  return count > 0 ? 0 : 1;
} catch (const std::exception& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
