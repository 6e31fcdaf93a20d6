// The journal that a crash left beside a store's files: found at the opening, looked through while
// the driver reads its headers and attaches the companions, then played back, kept or refused.
#include <algorithm>

#include "base/status.h"
#include "storage/recover.h"
#include "storage/store.h"
#include "storage/store_state.h"

namespace kelvorin::storage {

bool Store::HasJournal() const noexcept {
  return state_->leftover != nullptr && !state_->settled;
}
bool Store::SettleJournal() {
  return state_->SettleJournal(true);
}
bool Store::JournalRefused() const noexcept {
  return state_->options.read_only && !state_->refused.empty();
}
void Store::ForgetJournal() {
  state_->ForgetJournal();
}

void Store::State::Tell(const std::string& what) const {
  if (options.tell) options.tell(what);
}

std::string Store::State::RefusalText(const std::string& why) const {
  return JournalPath(real_path) + ": the journal of an interrupted change of " + NameOf(real_path) +
         " is not played back, nothing was changed: " + why +
         "; \"kelvorin recover\" shows it, applies it or sets it aside";
}

void Store::State::RefuseJournal(const std::string& why) {
  refused = why;
  if (!options.read_only) throw Error(Code::kReadOnly, RefusalText(why));
  Tell(RefusalText(why) + " (" + NameOf(real_path) + " is read as it stands)");
}

void Store::State::FindJournal(bool is_new) {
  FoundJournal found = JournalView::Find(fs, real_path, *files.front().file);
  const std::string journal_path = JournalPath(real_path);
  switch (found.state) {
    case FoundJournal::State::kNone:
      return;
    case FoundJournal::State::kUnsealed:
      if (!options.read_only) RemoveJournal();
      return;
    case FoundJournal::State::kUnusable:
      RefuseJournal(found.why);
      return;
    case FoundJournal::State::kDamaged:
      if (options.read_only) {
        Tell(journal_path + ": the journal of an interrupted change is damaged: " + found.why +
             "; " + NameOf(real_path) + " is read as it stands and may be torn: check it");
      } else {
        Tell(journal_path + ": the journal of an interrupted change is damaged: " + found.why +
             "; it was set aside as " + NameOf(SetJournalAside(fs, real_path)) + ", and " +
             NameOf(real_path) + " may be torn: check it");
      }
      return;
    case FoundJournal::State::kSealed:
      break;
  }
  // A journal without its table: somebody removed the table, and this is another one.
  if (is_new) {
    Tell(journal_path + ": was left by an earlier file of that name; it was set aside as " +
         NameOf(SetJournalAside(fs, real_path)));
    return;
  }
  leftover = std::move(found.view);
  parts.resize(leftover->entries().size());
  Adopt(kMainFile);
  if (refused.empty()) return;
  const std::string why = refused;
  Explain();
  leftover.reset();
  StoredFile& f = files.front();
  f.size = f.disk_size = f.disk_valid = f.reserved = f.file->Size();
  RefuseJournal(why);
}

void Store::State::Adopt(FileNo no) {
  if (leftover == nullptr) return;
  StoredFile& f = At(no);
  const std::optional<std::size_t> entry = leftover->FindEntry(f.role);
  if (!entry) return;
  Part& part = parts[*entry];
  part = {.attached = true, .file = no, .found = leftover->Check(*entry, *f.file)};
  const std::string name = "the " + RoleName(f.role) + " " + NameOf(f.file->path());
  if (!part.found.size_fits) {
    refused = name + " has " + std::to_string(part.found.size) + " bytes, not between the " +
              std::to_string(leftover->entries()[*entry].old_size) + " before the change and the " +
              std::to_string(leftover->entries()[*entry].new_size) + " after it";
  } else if (part.found.other_pieces > 0) {
    refused = name + " was changed since: " + std::to_string(part.found.other_pieces) + " of " +
              std::to_string(part.found.pieces) +
              " pieces are neither as before nor as after the change, the first at offset " +
              std::to_string(part.found.first_other);
  }
  f.size = f.disk_size = f.disk_valid = f.reserved = leftover->SizeOf(*entry);
  if (settled && !refused.empty()) throw Error(Code::kCorrupt, RefusalText(refused));
}

void Store::State::PatchOld(FileNo no, std::uint64_t offset, base::MutableByteSpan bytes) {
  for (std::size_t i = 0; i < parts.size(); ++i)
    if (parts[i].attached && parts[i].file == no) leftover->Patch(i, offset, bytes);
}

void Store::State::Explain() const {
  if (!options.explain) return;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const JournalEntry& entry = leftover->entries()[i];
    std::string text = RoleName(entry.role);
    if (parts[i].attached) {
      const FileFindings& found = parts[i].found;
      text += " " + NameOf(files[static_cast<std::size_t>(parts[i].file)].file->path()) + ": " +
              std::to_string(found.size) + " bytes";
      if (found.size_fits)
        text += ", " + std::to_string(found.pieces) +
                " pieces compared: " + std::to_string(found.old_pieces) + " as before, " +
                std::to_string(found.new_pieces) + " as after, " +
                std::to_string(found.empty_pieces) + " not written, " +
                std::to_string(found.other_pieces) + " changed since";
    } else {
      text += ": not there";
    }
    options.explain(text + "; " + std::to_string(entry.old_size) + " bytes before the change" +
                    (entry.made ? " (it was made)" : "") + ", " + std::to_string(entry.new_size) +
                    " after" + (entry.removed ? " (it is removed)" : ""));
  }
}

std::string Store::State::WhyNot() const {
  if (!refused.empty()) return refused;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const JournalEntry& entry = leftover->entries()[i];
    const bool may_lack = leftover->goes_back() ? entry.made : entry.removed;
    if (!parts[i].attached && !may_lack)
      return "it also changes the " + RoleName(entry.role) + ", which the table does not have";
  }
  if (NothingTorn()) return {};
  if (options.any_identity) {
    // Zeros behind the end, or a length that fits, may be those of any table.
    const bool theirs = std::any_of(parts.begin(), parts.end(), [](const Part& part) {
      return part.attached && (part.found.same_file || part.found.new_pieces > 0);
    });
    if (theirs) return {};
    return NameOf(real_path) +
           " is another file than the one that was changed, and nothing of the change stands in "
           "it: "
           "the journal may be that of another table";
  }
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (!parts[i].attached) continue;
    const std::string name = NameOf(files[static_cast<std::size_t>(parts[i].file)].file->path());
    if (!parts[i].found.same_file)
      return name + " is another file than the one that was changed (a copy, or exchanged since)";
    if (parts[i].found.names != 1)
      return name + " has " + std::to_string(parts[i].found.names) +
             " names (hard links), and all of them would change";
  }
  return {};
}

bool Store::State::NothingTorn() const {
  bool all_new = true;
  bool all_old = true;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const JournalEntry& entry = leftover->entries()[i];
    all_new = all_new && (parts[i].attached ? leftover->IsNew(i, parts[i].found) : entry.removed);
    all_old = all_old && (parts[i].attached ? leftover->IsOld(i, parts[i].found) : entry.made);
  }
  return all_new || all_old;
}

bool Store::State::SettleJournal(bool may_build_again) {
  if (leftover == nullptr || settled) return true;
  Explain();
  const std::string why = WhyNot();
  if (!why.empty()) {
    RefuseJournal(why);
    return false;
  }
  const bool whole = NothingTorn();
  // What was read through the journal is the old state; who cannot read again goes on from there.
  if (whole && may_build_again) {
    if (!options.read_only) {
      for (StoredFile& f : files) f.file->Sync();
      RemoveJournal();
      Tell(JournalPath(real_path) + ": the interrupted change of " + NameOf(real_path) +
           " was found complete; the journal was removed");
    }
    if (options.read_only && options.explain)
      options.explain(JournalPath(real_path) +
                      ": nothing is torn, the next writing removes the journal");
    refused = "nothing is torn";
    return false;
  }
  settled = true;
  if (!options.read_only) {
    PlayBack();
  } else {
    Tell(JournalPath(real_path) + ": a change of " + NameOf(real_path) +
         " was interrupted; it is read as it was " + (leftover->goes_back() ? "before" : "after") +
         " the change, and the next writing puts the file right");
  }
  return true;
}

void Store::State::PlayBack() {
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (!parts[i].attached) continue;
    StoredFile& f = At(parts[i].file);
    leftover->Apply(i, *f.file);
    const JournalEntry& entry = leftover->entries()[i];
    // Empty now: if nobody fills it, it goes when the store closes.
    if (leftover->goes_back()) f.made |= entry.made;
    if (!leftover->goes_back() && entry.removed) {
      f.gone = f.unlinked = true;
      fs.Remove(f.file->path());
    }
  }
  const bool back = leftover->goes_back();
  leftover.reset();
  parts.clear();
  RemoveJournal();
  Tell(JournalPath(real_path) + ": a change of " + NameOf(real_path) + " was interrupted and is " +
       (back ? "undone: the file is as before it" : "finished now"));
}

void Store::State::RemoveJournal() {
  fs.SyncFolder(FolderOf(real_path));
  fs.Remove(JournalPath(real_path));
  fs.SyncFolder(FolderOf(real_path));
}

void Store::State::ForgetJournal() {
  leftover.reset();
  parts.clear();
  using List = PageCache::List;
  for (std::size_t i = 0; i < files.size(); ++i) {
    StoredFile& f = files[i];
    ResetWindow(FileNo(i));
    f.size = f.disk_size = f.disk_valid = f.reserved = f.file->Size();
    f.next_fetch = 0;
    f.run_pages = 1;
  }
  for (const List list : {List::kClean, List::kScanned})
    cache.ForEach(list, [&](FrameNo at) { cache.Drop(at); });
}

void Store::State::TakeBack() {
  const std::unique_ptr<JournalView> own = JournalView::OpenOwn(fs, journal->path());
  if (own == nullptr)
    throw Error(Code::kIo, journal->path() + ": what was written to it cannot be read back");
  for (StoredFile& f : files) {
    const std::optional<std::size_t> entry = f.unlinked ? std::nullopt : own->FindEntry(f.role);
    if (!entry) continue;
    own->Apply(*entry, *f.file);
    if (!own->goes_back() && own->entries()[*entry].removed && fs.Exists(f.file->path())) {
      fs.Remove(f.file->path());
      f.unlinked = true;
    }
  }
  fs.SyncFolder(FolderOf(real_path));
  journal->PlayedBack();
}

}  // namespace kelvorin::storage
