// Groups: how finished brackets reach the files as one transaction, and how a store ends.
#include <algorithm>
#include <array>
#include <cstring>
#include <exception>

#include "base/status.h"
#include "storage/store.h"
#include "storage/store_state.h"

namespace kelvorin::storage {

void Store::Flush() {
  State& s = *state_;
  if (s.in_bracket) throw Error(Code::kInternal, s.path + ": flushed inside a bracket");
  s.RequireUsable();
  if (s.journal == nullptr) return;
  s.CloseGroup();
  s.journal->Settle();
}

void Store::AddGroupHook(GroupHook& hook) {
  state_->hooks.push_back(&hook);
}

void Store::RemoveGroupHook(GroupHook& hook) noexcept {
  State& s = *state_;
  try {
    if (s.failed.ok() && !s.in_bracket) s.CloseGroup();
  } catch (const Error& error) {
    if (s.failed.ok()) s.GroupFailed(error.status());
  } catch (const std::exception& error) {
    if (s.failed.ok()) s.GroupFailed(Status(Code::kInternal, error.what()));
  }
  std::erase(s.hooks, &hook);
}

Store::~Store() {
  state_->Close();
}

void Store::State::CloseGroup() {
  RequireUsable();
  KV_ASSERT(!in_bracket, "invariant 5");
  if (!group_changed) return;
  if (!hooks.empty()) {
    BeginBracket();
    Bracket last(store);
    closing_group = true;
    try {
      for (GroupHook* hook : hooks) hook->BeforeGroup(store);
    } catch (...) {
      closing_group = false;
      throw;
    }
    closing_group = false;
    last.Commit();
  }
  try {
    WriteGroup();
  } catch (const Error& error) {
    GroupFailed(error.status());
    throw Error(failed);
  } catch (const std::exception& error) {
    GroupFailed(Status(Code::kInternal, error.what()));
    throw Error(failed);
  }
}

void Store::State::WriteGroup() {
  CollectChanged();
  const bool resized = std::any_of(files.begin(), files.end(), [](const StoredFile& f) {
    return f.size != f.disk_size || (f.gone && !f.unlinked);
  });
  if (!order.empty() || resized) {
    WriteJournal();
    KV_ASSERT(journal->hot(), "invariant 4");
    WritePages();
    for (StoredFile& f : files) {
      if (f.changed) f.file->Sync();
    }
    if (folder_changed) fs.SyncFolder(FolderOf(real_path));
    CutFiles();
    journal->Invalidate();
    ++counts.groups;
    counts.journal_bytes += journal->bytes();
  }
  GroupWritten();
}

void Store::State::CollectChanged() {
  order.clear();
  cache.ForEach(PageCache::List::kChanged, [&](FrameNo at) {
    const PageCache::Frame& frame = cache[at];
    StoredFile& f = files[frame.file];
    if (PageStart(f, frame.page_no) < f.size) {
      order.push_back(at);
    } else {
      // Belonged to a bracket that was undone, or was cut off.
      if (f.write_frame == at) ResetWritePage(f);
      cache.Drop(at);
    }
  });
  std::sort(order.begin(), order.end(), [&](FrameNo a, FrameNo b) {
    const PageCache::Frame& left = cache[a];
    const PageCache::Frame& right = cache[b];
    return left.file != right.file ? left.file < right.file : left.page_no < right.page_no;
  });
}

void Store::State::WriteJournal() {
  std::vector<JournalEntry> entries;
  std::vector<std::uint32_t> entry_of(files.size(), 0);
  for (std::size_t i = 0; i < files.size(); ++i) {
    const StoredFile& f = files[i];
    if (i > 0 && (!f.changed || f.unlinked)) continue;
    entry_of[i] = static_cast<std::uint32_t>(entries.size());
    entries.push_back({.role = f.role,
                       .identity = f.identity,
                       .old_size = f.made ? 0 : f.disk_size,
                       .new_size = f.size,
                       .made = f.made,
                       .removed = f.gone});
  }
  journal->Start(entries);
  // Neighbouring pages make one run.
  for (std::size_t i = 0; i < order.size();) {
    const std::uint16_t no = cache[order[i]].file;
    const std::size_t first = i;
    for (++i; i < order.size() && cache[order[i]].file == no &&
              cache[order[i]].page_no == cache[order[i - 1]].page_no + 1;)
      ++i;
    JournalRun(entry_of[no], files[no], first, i);
  }
  journal->Seal();
}

/// Bytes that are cut off have no image: they are not overwritten, and cutting them has no way
/// back.
void Store::State::JournalRun(std::uint32_t entry, const StoredFile& f, std::size_t first,
                              std::size_t behind) {
  const std::uint64_t start = PageStart(f, cache[order[first]].page_no);
  const std::uint64_t end = std::min(PageEnd(f, cache[order[behind - 1]].page_no), f.size);
  const std::uint64_t old_end = std::clamp(f.disk_size, start, end);
  if (start < old_end) {
    SumPieces(f, first, start, old_end);
    journal->AddImage(entry, *f.file, start, old_end - start, sums);
  }
  if (old_end < end) {
    SumPieces(f, first, old_end, end);
    journal->AddNew(entry, old_end, end - old_end, sums);
  }
}

/// Sums of the pieces of a range in neighbouring cached pages, `first` being the first of them.
void Store::State::SumPieces(const StoredFile& f, std::size_t first, std::uint64_t from,
                             std::uint64_t to) {
  sums.clear();
  const std::uint64_t base = cache[order[first]].page_no;
  std::size_t at = first + static_cast<std::size_t>(PageOf(f, from) - base);
  const auto page_start = [&] { return cache[order[at]].page_no * f.page_bytes; };
  while (from < to) {
    const std::uint64_t piece_end = PieceEnd(from, to);
    const auto size = static_cast<std::size_t>(piece_end - from);
    auto in_page = static_cast<std::size_t>(from + f.shift - page_start());
    if (size <= f.page_bytes - in_page) {
      sums.push_back(PieceSum({cache[order[at]].data.get() + in_page, size}));
      if (size == f.page_bytes - in_page) ++at;
    } else {
      // Not cleared: it is filled before it is read, and often.
      // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
      std::array<std::byte, kPieceBytes> piece;
      for (std::size_t done = 0; done < size;) {
        const std::size_t part = std::min(size - done, f.page_bytes - in_page);
        std::memcpy(piece.data() + done, cache[order[at]].data.get() + in_page, part);
        done += part;
        in_page += part;
        if (in_page == f.page_bytes) ++at, in_page = 0;
      }
      sums.push_back(PieceSum(base::ByteSpan(piece).first(size)));
    }
    from = piece_end;
  }
}

void Store::State::WritePages() {
  // Longer first, so that a file has its old or its new length while pages are written.
  for (StoredFile& f : files)
    if (f.changed && f.size > f.disk_size) f.file->Truncate(f.size);
  for (std::size_t i = 0; i < order.size();) {
    const std::uint16_t no = cache[order[i]].file;
    const std::size_t first = i;
    const std::size_t most = transfer.size() / files[no].page_bytes;
    for (++i; i < order.size() && i - first < most && cache[order[i]].file == no &&
              cache[order[i]].page_no == cache[order[i - 1]].page_no + 1;)
      ++i;
    WriteRun(files[no], first, i);
  }
}

void Store::State::WriteRun(StoredFile& f, std::size_t first, std::size_t behind) {
  const std::uint64_t start = PageStart(f, cache[order[first]].page_no);
  write_parts.clear();
  for (std::size_t i = first; i < behind; ++i) {
    const PageCache::Frame& frame = cache[order[i]];
    const std::uint64_t from = PageStart(f, frame.page_no);
    const std::uint64_t to = std::min(PageEnd(f, frame.page_no), f.size);
    write_parts.emplace_back(frame.data.get() + (from + f.shift - frame.page_no * f.page_bytes),
                             static_cast<std::size_t>(to - from));
  }
  f.file->WriteParts(start, write_parts);
  counts.pages_written += behind - first;
}

void Store::State::CutFiles() {
  const auto is_cut = [](const StoredFile& f) {
    return f.size < f.disk_size || (f.gone && !f.unlinked);
  };
  if (std::none_of(files.begin(), files.end(), is_cut)) return;
  // Bytes that are cut off have no image, so there is no way back from here, only forward.
  journal->Finish();
  for (StoredFile& f : files) {
    if (!is_cut(f)) continue;
    f.file->Truncate(f.size);
    f.file->Sync();
    f.reserved = f.size;
    if (!f.gone) continue;
    fs.Remove(f.file->path());
    f.unlinked = true;
    fs.SyncFolder(FolderOf(real_path));
  }
}

void Store::State::GroupWritten() noexcept {
  for (const FrameNo at : order) cache.MarkClean(at);
  order.clear();
  for (StoredFile& f : files) {
    ResetWritePage(f);
    f.disk_size = f.disk_valid = f.size;
    f.changed = false;
    if (f.size > 0) f.made = false;
  }
  group_changed = false;
  folder_changed = false;
  journal_need = 0;
}

void Store::State::GroupFailed(const Status& reason) noexcept {
  std::string text =
      path + ": what changed last could not be written: " + std::string(reason.message());
  try {
    if (journal->hot()) {
      TakeBack();
    } else {
      journal->Invalidate();
    }
  } catch (const Error&) {
    if (journal->hot())
      text += "; " + NameOf(journal->path()) + " is kept to undo it at the next opening";
  }
  failed = Status(reason.code(), std::move(text), reason.number());
  for (std::size_t i = 0; i < files.size(); ++i) ResetWindow(FileNo(i));
}

void Store::State::Close() noexcept {
  KV_ASSERT(!in_bracket, "a bracket does not outlive its store");
  if (journal == nullptr) return;
  try {
    if (failed.ok()) CloseGroup();
  } catch (const std::exception&) {
    // Heard by whoever calls `Flush` before.
  }
  if (journal->hot()) return;
  journal->Remove();
  for (StoredFile& f : files) {
    try {
      // Asked of the file: after a failure `disk_size` may be that of either end of the group.
      const std::uint64_t size = f.file->Size();
      if (f.unlinked) {
        // It has no name any more.
      } else if (f.made && size == 0) {
        fs.Remove(f.file->path());
      } else if (f.reserved > size) {
        f.file->Truncate(size);  // gives back the room set aside
      }
    } catch (const Error&) {
      // Room that stays reserved costs disk space and nothing else.
    }
  }
}

}  // namespace kelvorin::storage
