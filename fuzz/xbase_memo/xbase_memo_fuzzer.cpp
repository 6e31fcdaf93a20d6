// A memo file of each kind, read and written at random. The first byte chooses the kind, the second
// says how many steps of two bytes follow (what to do, how long a value); the rest is the file.
// With no rest the file is a fresh one, and then every value must stay what it was through all
// steps.

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "database/xbase/memo_file.h"
#include "fuzz/require.h"
#include "storage/store.h"
#include "tests/storage/support/memory_files.h"

namespace {

using namespace kelvorin;
using database::xbase::MemoFile;
using database::xbase::MemoKind;
using fuzz::Require;

constexpr std::uint32_t kBlocksRead = 64;

std::string ValueOf(unsigned step, std::size_t length) {
  return std::string(length, static_cast<char>('a' + step % 26));
}

void Play(storage::Store& store, MemoFile& memo, std::string_view steps, bool fresh) {
  std::map<std::uint32_t, std::string> values;
  std::string read;
  for (unsigned step = 0; step * 2 + 1 < steps.size(); ++step) {
    const auto action = static_cast<unsigned char>(steps[step * 2]);
    const auto length = static_cast<unsigned char>(steps[step * 2 + 1]);
    auto picked = values.begin();
    for (unsigned skip = action >> 2; picked != values.end() && skip > 0; --skip) ++picked;
    const std::uint32_t old = picked == values.end() ? 0 : picked->first;
    storage::Bracket bracket = store.Begin();
    if ((action & 3) == 3) {
      if (old != 0) {
        memo.Free(old);
        values.erase(picked);
      }
    } else {
      const std::string value = ValueOf(step, std::size_t{length} * 17 + 1);
      const std::uint32_t block = memo.Write(old, value, 'M');
      if (old != 0) values.erase(picked);
      values[block] = value;
    }
    bracket.Commit();
    for (const auto& [block, value] : values) {
      if (!fresh) break;
      Require(memo.Read(block, read).empty() && read == value, "a text stays");
    }
  }
  std::vector<std::string> problems;
  memo.Inspect(problems);
  Require(!fresh || problems.empty(), "a file written here is sound");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr MemoKind kKinds[] = {MemoKind::kDbt3, MemoKind::kDbt4, MemoKind::kFpt};
  if (size < 2) return 0;
  const MemoKind kind = kKinds[data[0] % 3];
  const std::string_view rest(reinterpret_cast<const char*>(data) + 2, size - 2);
  const std::string_view steps = rest.substr(0, std::size_t{data[1]} * 2);
  const std::string_view file = rest.substr(steps.size());
  tests::MemoryFileSystem disk;
  disk.Put("/d/T", file.empty() ? MemoFile::NewFile(kind, "T") : std::string(file));
  try {
    const auto store = storage::Store::Open(disk, "/d/T", {});
    MemoFile memo(*store, storage::kMainFile, kind);
    std::string value;
    for (std::uint32_t block = 0; block < kBlocksRead; ++block) (void)memo.Read(block, value);
    std::vector<std::string> problems;
    memo.Inspect(problems);
    Play(*store, memo, steps, file.empty());
  } catch (const Error&) {
    Require(!file.empty(), "a fresh file can be read and written");
  }
  return 0;
}
