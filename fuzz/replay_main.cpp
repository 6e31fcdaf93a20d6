// Replays every file of a folder through one fuzzer body, so that the ordinary test run covers the
// corpus without a fuzzing compiler: each as it is, then as often as the second word says with some
// bytes replaced, mostly by others of its own. Fails when the folder holds no file.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  std::size_t replayed = 0;
  const int changes = argc > 2 ? std::atoi(argv[2]) : 0;
  std::minstd_rand random(7);
  for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[1])) {
    if (!entry.is_regular_file()) continue;
    std::ifstream in(entry.path(), std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in),
                                  std::istreambuf_iterator<char>()};
    std::vector<char> changed = bytes;
    for (int change = 0; change <= changes; ++change, ++replayed) {
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(changed.data()), changed.size());
      if (change % 16 == 0) changed = bytes;
      for (auto left = bytes.empty() ? 0 : random() % 4; left > 0; --left) {
        const char other = bytes[random() % bytes.size()];
        changed[random() % changed.size()] =
            random() % 8 == 0 ? static_cast<char>(random() % 256) : other;
      }
    }
  }
  std::printf("%zu inputs replayed\n", replayed);
  return replayed == 0 ? 1 : 0;
}
