#include "textsource/gzip_reader.h"

#include <array>
#include <string>

#include "base/M_STRING.h"

#if defined(KELVORIN_ZLIB)
#include <zlib.h>
#endif

namespace kelvorin::textsource {

bool IsGzip(std::string_view start) noexcept {
  return start.starts_with("\x1F\x8B\x08");
}

#if defined(KELVORIN_ZLIB)

struct GzipReader::State {
  const base::InputFile& file;
  std::uint64_t file_at = 0;  // of the next packed byte to fetch
  std::array<char, std::size_t{32} * 1024> packed;
  z_stream zlib{};
  bool ready = false;
  bool between_members = true;
  bool at_end = false;

  explicit State(const base::InputFile& input) : file(input) {
    constexpr int kGzipOnly = 16;
    ready = inflateInit2(&zlib, MAX_WBITS + kGzipOnly) == Z_OK;
  }
  ~State() {
    if (ready) inflateEnd(&zlib);
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  Status Fetch() {
    const Result<std::size_t> got = file.ReadAt(file_at, packed);
    if (!got.ok()) return got.status();
    file_at += *got;
    zlib.next_in = reinterpret_cast<Bytef*>(packed.data());
    zlib.avail_in = static_cast<uInt>(*got);
    return Status();
  }
  Status Damaged(std::string_view why) const {
    return Status(Code::kCorrupt, "The compressed file '" + file.path() + "' is " +
                                      std::string(why) + " at byte " +
                                      base::ToDecimal(static_cast<std::int64_t>(file_at) -
                                                      static_cast<std::int64_t>(zlib.avail_in)));
  }
};

GzipReader::GzipReader(const base::InputFile& file) : state_(std::make_unique<State>(file)) {}
GzipReader::~GzipReader() = default;

Result<std::size_t> GzipReader::Read(std::span<char> out) {
  State& s = *state_;
  if (!s.ready) return Status(Code::kInternal, "zlib could not be started");
  std::size_t done = 0;
  while (done < out.size() && !s.at_end) {
    if (s.zlib.avail_in == 0) {
      KV_TRY(s.Fetch());
      if (s.zlib.avail_in == 0 && !s.between_members) return s.Damaged("cut off");
    }
    if (s.between_members) {
      // Zeros behind the last member are padding of tapes.
      s.at_end = s.zlib.avail_in == 0 || *s.zlib.next_in == 0;
      if (s.at_end) break;
      if (*s.zlib.next_in != 0x1F) return s.Damaged("damaged");
      s.between_members = false;
    }
    const std::size_t room = std::min<std::size_t>(out.size() - done, std::size_t{1} << 20);
    s.zlib.next_out = reinterpret_cast<Bytef*>(out.data() + done);
    s.zlib.avail_out = static_cast<uInt>(room);
    const int outcome = inflate(&s.zlib, Z_NO_FLUSH);
    done += room - s.zlib.avail_out;
    if (outcome == Z_STREAM_END) {
      inflateReset(&s.zlib);
      s.between_members = true;
    } else if (outcome != Z_OK && outcome != Z_BUF_ERROR) {
      return s.Damaged("damaged");
    }
  }
  return done;
}

#else

struct GzipReader::State {
  const base::InputFile& file;
};

GzipReader::GzipReader(const base::InputFile& file)
    : state_(std::unique_ptr<State>(new State{file})) {}
GzipReader::~GzipReader() = default;

Result<std::size_t> GzipReader::Read(std::span<char>) {
  return Status(Code::kNotSupported, "The file '" + state_->file.path() +
                                         "' is compressed, and this program was built without "
                                         "zlib: unpack it first (gzip -d)");
}

#endif

}  // namespace kelvorin::textsource
