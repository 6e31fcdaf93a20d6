// Brackets: changing cached pages so that every change can be taken back without reading a file.
#include <algorithm>
#include <cstring>
#include <limits>

#include "base/status.h"
#include "storage/store.h"
#include "storage/store_state.h"

namespace kelvorin::storage {
namespace {

constexpr std::uint32_t kBracketsPerLook =
    16;  // at the clock, which costs as much as a small write
constexpr std::uint64_t kSmallFile = std::uint64_t{1} << 20;
constexpr std::uint64_t kSmallStep = std::uint64_t{64} << 10;
constexpr std::uint64_t kLargeStep = std::uint64_t{1} << 20;

}  // namespace

Bracket Store::Begin() {
  State& s = *state_;
  if (s.leftover != nullptr && !s.options.read_only) s.SettleJournal(false);
  if (s.group_changed && !s.in_bracket) {
    if (s.cache.changed_bytes() > s.cache.changed_limit()) {
      s.CloseGroup();
    } else if (s.brackets_to_look-- == 0) {
      s.brackets_to_look = kBracketsPerLook;
      if (s.fs.Milliseconds() - s.group_since >= s.options.group_milliseconds) s.CloseGroup();
    }
  }
  s.BeginBracket();
  return Bracket(*this);
}

Bracket::~Bracket() {
  if (store_ != nullptr) store_->state_->Undo();
}

void Bracket::Commit() noexcept {
  KV_ASSERT(store_ != nullptr, "a bracket is committed once");
  store_->state_->EndBracket();
  store_ = nullptr;
}

void Store::State::BeginBracket() {
  RequireUsable();
  if (options.read_only) throw Error(Code::kReadOnly, path + ": opened for reading only");
  if (in_bracket) throw Error(Code::kInternal, path + ": a bracket inside a bracket");
  ++bracket;
  in_bracket = true;
}

void Store::State::EndBracket() noexcept {
  undo.Clear();
  touched.clear();
  in_bracket = false;
}

void Store::State::RequireBracket() const {
  if (!in_bracket) throw Error(Code::kInternal, path + ": a change outside a bracket");
}

void Store::State::Touch(FileNo no) {
  StoredFile& f = At(no);
  if (f.gone) throw Error(Code::kInternal, f.file->path() + ": was taken away");
  if (f.touched_in == bracket) return;
  touched.push_back(no);
  f.touched_in = bracket;
  f.bracket_size = f.size;
  f.bracket_valid = f.disk_valid;
  f.bracket_gone = f.gone;
  f.cut_to = kNotCut;
}

void Store::State::Extend(FileNo no, std::uint64_t end) {
  StoredFile& f = At(no);
  if (end > kMaxFileBytes)
    throw Error(Code::kNoSpace,
                f.file->path() + ": " + std::to_string(end) + " bytes are too many");
  if (end > f.reserved) {
    const std::uint64_t step = end < kSmallFile ? kSmallStep : kLargeStep;
    std::uint64_t room = (end + step - 1) / step * step;
    try {
      f.file->Reserve(room);
    } catch (const Error& error) {
      if (error.status().code() != Code::kNoSpace) throw;
      room = end;  // the last of the disk is used up byte by byte
      f.file->Reserve(room);
    }
    f.reserved = room;
  }
  if (!group_changed) {
    group_changed = true;
    group_since = fs.Milliseconds();
  }
  f.changed = true;
  f.size = end;
}

void Store::State::FillGap(FileNo no, std::uint64_t from, std::uint64_t to) {
  // The disk still holds what was cut off there (invariant 3).
  const StoredFile& f = At(no);
  to = std::min(to, f.disk_size);
  if (from >= to) return;
  for (std::uint64_t page = PageOf(f, from); page <= PageOf(f, to - 1); ++page) {
    MakeChanged(At(no), Fetch(no, page), page);
  }
}

/// What the hooks will change at the end of the group: on a full disk they would fail, and all that
/// the group holds with them.
std::uint64_t Store::State::RoomForHooks() const noexcept {
  constexpr std::uint64_t kPagesOfHook = 2;  // of each file
  if (hooks.empty() || closing_group) return 0;
  std::uint64_t room = 0;
  for (const StoredFile& f : files) room += kPagesOfHook * Journal::RoomFor(f.page_bytes, true);
  return room;
}

void Store::State::MakeChanged(StoredFile& f, FrameNo frame, std::uint64_t page) {
  if (cache[frame].list == PageCache::List::kChanged) return;
  if (cache[frame].list == PageCache::List::kNone)
    throw Error(Code::kInternal, f.file->path() + ": a page that was cut off is changed");
  // What the journal will hold of the page: the change that asks for it is the one to fail when the
  // disk is full.
  const std::uint64_t need =
      journal_need + Journal::RoomFor(f.page_bytes, PageStart(f, page) < f.disk_size);
  journal->Reserve(kBodyAt + kEntryBytes * files.size() + need + RoomForHooks());
  journal_need = need;
  if (!group_changed) {
    group_changed = true;
    group_since = fs.Milliseconds();
  }
  f.changed = true;
  cache.MarkChanged(frame, bracket);
}

void Store::State::SetWritePage(StoredFile& f, FrameNo frame, std::uint64_t page) noexcept {
  f.write_frame = frame;
  f.write_start = PageStart(f, page);
  f.write_end = PageEnd(f, page);
  f.write_data = cache[frame].data.get() + (f.write_start + f.shift - page * f.page_bytes);
}

void Store::Write(FileNo no, std::uint64_t offset, base::ByteSpan in) {
  State& s = *state_;
  s.RequireBracket();
  if (in.empty()) return;
  State::StoredFile& f = s.At(no);
  s.Touch(no);
  const std::uint64_t end = offset + in.size();
  if (end > f.size || end < offset) {
    const std::uint64_t old = f.size;
    s.Extend(no, end < offset ? std::numeric_limits<std::uint64_t>::max() : end);
    if (offset > old) s.FillGap(no, old, offset);
  }
  while (true) {
    if (offset < f.write_start || offset >= f.write_end) {
      const std::uint64_t page = State::PageOf(f, offset);
      const PageCache::FrameNo frame = s.Fetch(no, page);
      s.MakeChanged(f, frame, page);
      s.SetWritePage(f, frame, page);
    }
    const auto part =
        static_cast<std::size_t>(std::min<std::uint64_t>(in.size(), f.write_end - offset));
    std::byte* const at = f.write_data + (offset - f.write_start);
    if (offset < f.bracket_size) {
      const auto old =
          static_cast<std::size_t>(std::min<std::uint64_t>(part, f.bracket_size - offset));
      const PageCache::Frame& frame = s.cache[f.write_frame];
      if (frame.noted_in != s.bracket)
        s.undo.Note(f.write_frame, static_cast<std::size_t>(at - frame.data.get()), {at, old});
    }
    std::memcpy(at, in.data(), part);
    if (part == in.size()) return;
    in = in.subspan(part);
    offset += part;
  }
}

base::MutableByteSpan PageRef::Change(std::size_t at, std::size_t count) {
  Store::State& s = *store_->state_;
  s.RequireBracket();
  KV_ASSERT(at <= size_ && count <= size_ - at, "the range lies in the page");
  if (count == 0) return {};
  const FileNo no{s.cache[frame_].file};
  const std::uint64_t page = s.cache[frame_].page_no;
  Store::State::StoredFile& f = s.At(no);
  const std::uint64_t start = Store::State::PageStart(f, page);
  s.Touch(no);
  s.MakeChanged(f, frame_, page);
  if (start + at + count > f.size) {
    const std::uint64_t old = f.size;
    s.Extend(no, start + at + count);
    s.FillGap(no, old, f.size);
  }
  PageCache::Frame& frame = s.cache[frame_];
  if (frame.noted_in != s.bracket) {
    // What lies behind the size at the bracket's start becomes zeros again by that size.
    if (start + at < f.bracket_size) {
      const auto old =
          static_cast<std::size_t>(std::min<std::uint64_t>(count, f.bracket_size - start - at));
      s.undo.Note(frame_, at, {data_ + at, old});
    }
    if (at == 0 && count == size_) frame.noted_in = s.bracket;
  }
  return {data_ + at, count};
}

PageRef Store::AddPage(FileNo no, std::uint64_t& page_no) {
  State& s = *state_;
  s.RequireBracket();
  const State::StoredFile& f = s.At(no);
  std::uint64_t page = State::PageOf(f, f.size);
  if (State::PageStart(f, page) < f.size) ++page;
  page = std::max(page, f.pages_before);
  Truncate(no, State::PageEnd(f, page));
  page_no = page - f.pages_before;
  PageRef added = Pin(no, page_no);
  s.MakeChanged(s.At(no), added.frame_, page);
  return added;
}

void Store::Truncate(FileNo no, std::uint64_t size) {
  State& s = *state_;
  s.RequireBracket();
  State::StoredFile& f = s.At(no);
  s.Touch(no);
  if (size == f.size) return;
  if (size > f.size) {
    const std::uint64_t old = f.size;
    s.Extend(no, size);
    s.FillGap(no, old, size);
    return;
  }
  s.CutCached(no, size);
  f.size = size;
  f.changed = true;
  if (!s.group_changed) s.group_since = s.fs.Milliseconds();
  s.group_changed = true;
}

void Store::Remove(FileNo no) {
  State& s = *state_;
  s.RequireBracket();
  if (no == kMainFile)
    throw Error(Code::kInternal, s.path + ": the main file cannot be taken away");
  Truncate(no, 0);
  State::StoredFile& f = s.At(no);
  f.gone = f.changed = true;
  if (!s.group_changed) s.group_since = s.fs.Milliseconds();
  s.group_changed = true;
}

void Store::State::CutCached(FileNo no, std::uint64_t size) {
  StoredFile& f = At(no);
  ResetWindow(no);
  ResetWritePage(f);
  const std::uint64_t first = PageOf(f, size);
  using List = PageCache::List;
  for (const List list : {List::kScanned, List::kClean, List::kChanged}) {
    cache.ForEach(list, [&](FrameNo at) {
      const PageCache::Frame& frame = cache[at];
      if (FileNo(frame.file) != no || frame.page_no < first || PageStart(f, frame.page_no) < size)
        return;
      if (frame.pins > 0)
        throw Error(Code::kInternal, f.file->path() + ": a page in use is cut off");
      if (list != List::kChanged) {
        cache.Drop(at);  // the disk has it, should this be taken back
        return;
      }
      const std::uint64_t start = PageStart(f, frame.page_no);
      const auto in_page = static_cast<std::size_t>(start + f.shift - frame.page_no * f.page_bytes);
      const std::uint64_t kept = std::min(PageEnd(f, frame.page_no), f.bracket_size);
      if (kept > start && frame.noted_in != bracket)
        undo.Note(at, in_page,
                  {frame.data.get() + in_page, static_cast<std::size_t>(kept - start)});
      std::memset(frame.data.get(), 0, f.page_bytes);
    });
  }
  f.cut_to = std::min(f.cut_to, size);
  f.disk_valid = std::min(f.disk_valid, size);  // before the fetch, which may read ahead
  // The page in which the file now ends.
  const std::uint64_t start = PageStart(f, first);
  if (start >= size) return;
  const FrameNo at = Fetch(no, first);
  MakeChanged(f, at, first);
  const std::uint64_t shift_in_page = start + f.shift - first * f.page_bytes;
  const auto cut = static_cast<std::size_t>(size - start + shift_in_page);
  const std::uint64_t kept = std::min(PageEnd(f, first), f.bracket_size);
  std::byte* const data = cache[at].data.get();
  if (kept > size && cache[at].noted_in != bracket)
    undo.Note(at, cut, {data + cut, static_cast<std::size_t>(kept - size)});
  std::memset(data + cut, 0, f.page_bytes - cut);
}

void Store::State::Undo() noexcept {
  undo.PlayBack([&](FrameNo at, std::size_t begin, base::ByteSpan old) {
    std::memcpy(cache[at].data.get() + begin, old.data(), old.size());
  });
  for (const FileNo no : touched) {
    StoredFile& f = At(no);
    const std::uint64_t reached = f.size;
    f.size = f.bracket_size;
    f.disk_valid = f.bracket_valid;
    f.gone = f.bracket_gone;
    ResetWindow(no);
    ResetWritePage(f);
    if (f.cut_to != kNotCut) DropNewBehind(no, f.cut_to);
    if (reached > f.size) ZeroCached(no, f.size, reached);
  }
  EndBracket();
}

void Store::State::DropNewBehind(FileNo no, std::uint64_t offset) noexcept {
  cache.ForEach(PageCache::List::kChanged, [&](FrameNo at) {
    const PageCache::Frame& frame = cache[at];
    if (FileNo(frame.file) != no || frame.changed_in != bracket) return;
    if (PageEnd(At(no), frame.page_no) > offset) cache.Drop(at);
  });
}

void Store::State::ZeroCached(FileNo no, std::uint64_t from, std::uint64_t to) noexcept {
  const StoredFile& f = At(no);
  const auto zero = [&](FrameNo at) {
    const PageCache::Frame& frame = cache[at];
    const std::uint64_t begin = std::max(PageStart(f, frame.page_no), from);
    const std::uint64_t end = PageEnd(f, frame.page_no);
    if (begin >= end) return;
    const std::uint64_t in_page = begin + f.shift - frame.page_no * f.page_bytes;
    std::memset(frame.data.get() + in_page, 0, static_cast<std::size_t>(end - begin));
  };
  // A record's pages are looked up; only what is longer than the cache goes over all of it. An
  // unchanged page holds nothing that was added.
  if ((to - from) / f.page_bytes < 16) {
    for (std::uint64_t page = PageOf(f, from); page <= PageOf(f, to); ++page) {
      const FrameNo at = cache.Find(static_cast<std::uint16_t>(no), page);
      if (at != kNoFrame) zero(at);
    }
  } else {
    cache.ForEach(PageCache::List::kChanged, [&](FrameNo at) {
      if (FileNo(cache[at].file) == no) zero(at);
    });
  }
}

}  // namespace kelvorin::storage
