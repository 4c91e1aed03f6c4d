// Replays a fuzz target's corpus under the normal compiler: every file of the
// folders (or the single files) given on the command line is fed once to
// LLVMFuzzerTestOneInput, in name order so a failure is reproducible. A crash,
// an abort or a sanitizer report ends the process, which fails the test; the
// last "replaying" line names the input that did it.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

std::vector<std::filesystem::path> inputsOf(const std::filesystem::path& where) {
  std::vector<std::filesystem::path> files;
  if (std::filesystem::is_directory(where)) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(where))
      if (entry.is_regular_file()) files.push_back(entry.path());
  } else if (std::filesystem::is_regular_file(where)) {
    files.push_back(where);
  }
  std::sort(files.begin(), files.end());
  return files;
}

bool replay(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) return false;
  std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                             std::istreambuf_iterator<char>());
  std::printf("replaying %s (%zu bytes)\n", file.c_str(), bytes.size());
  std::fflush(stdout);
  // An empty vector's data() may be null; libFuzzer never passes null.
  static const uint8_t none = 0;
  LLVMFuzzerTestOneInput(bytes.empty() ? &none : bytes.data(), bytes.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s <corpus folder or file>...\n", argv[0]);
    return 2;
  }
  std::size_t count = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& file : inputsOf(argv[i])) {
      if (!replay(file)) {
        std::fprintf(stderr, "cannot read %s\n", file.c_str());
        return 1;
      }
      ++count;
    }
  }
  if (count == 0) {
    std::fprintf(stderr, "no inputs found\n");
    return 1;
  }
  std::printf("replayed %zu inputs\n", count);
  return 0;
}
