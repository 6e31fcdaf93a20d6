#include "tests/storage/support/fault_files.h"

#include "base/status.h"

namespace kelvorin::tests {

using storage::File;

bool FaultFileSystem::Fires() noexcept {
  ++count_;
  const bool now = fault_ != Fault::kNone && (count_ == at_ || (fault_ == Fault::kDie && fired_));
  fired_ |= now;
  return now;
}

void FaultFileSystem::Step(const std::string& path, const char* doing) {
  if (!Fires() || fault_ == Fault::kShortRead) return;
  throw Error(fault_ == Fault::kNoSpace ? Code::kNoSpace : Code::kIo,
              path + ": " + doing + ": fault at operation " + std::to_string(count_));
}

class FaultFile final : public File {
 public:
  FaultFile(FaultFileSystem& faults, std::unique_ptr<File> file)
      : File(file->path()), faults_(faults), file_(std::move(file)) {}

  std::uint64_t Size() override { return file_->Size(); }
  std::size_t Read(std::uint64_t offset, base::MutableByteSpan out) override {
    if (faults_.fault_ != Fault::kShortRead) {
      faults_.Step(path(), "reading");
    } else if (faults_.Fires()) {
      out = out.first(out.size() / 2);
    }
    return file_->Read(offset, out);
  }
  void Append(base::ByteSpan in) override {
    const bool was_dead = faults_.fired_;
    try {
      faults_.Step(path(), "writing");
    } catch (const Error&) {
      if (!was_dead) file_->Append(in.first(in.size() / 2));
      throw;
    }
    file_->Append(in);
  }
  void Close() override {
    faults_.Step(path(), "closing");
    file_->Close();
  }
  void Write(std::uint64_t offset, base::ByteSpan in) override {
    const bool was_dead = faults_.fired_;
    try {
      faults_.Step(path(), "writing");
    } catch (const Error&) {
      // Torn where a disk tears: between two sectors.
      const std::uint64_t middle = (offset + in.size() / 2) / 512 * 512;
      if (!was_dead && middle > offset)
        file_->Write(offset, in.first(static_cast<std::size_t>(middle - offset)));
      throw;
    }
    file_->Write(offset, in);
  }
  void Truncate(std::uint64_t size) override {
    faults_.Step(path(), "cutting");
    file_->Truncate(size);
  }
  void Reserve(std::uint64_t size) override {
    faults_.Step(path(), "reserving");
    file_->Reserve(size);
  }
  void Sync() override {
    faults_.Step(path(), "syncing");
    file_->Sync();
  }
  bool TryLock(std::uint64_t offset, std::uint64_t length, os::LockKind kind) override {
    return file_->TryLock(offset, length, kind);
  }
  void Unlock(std::uint64_t offset, std::uint64_t length) override {
    file_->Unlock(offset, length);
  }
  os::FileFacts Facts() override { return file_->Facts(); }
  void TakeAccess(File& from) noexcept override {
    file_->TakeAccess(*static_cast<FaultFile&>(from).file_);
  }

 private:
  FaultFileSystem& faults_;
  std::unique_ptr<File> file_;
};

std::unique_ptr<File> FaultFileSystem::Open(const std::string& path, os::OpenMode mode,
                                            os::Accept accept) {
  Step(path, "opening");
  return std::make_unique<FaultFile>(*this, disk_.Open(path, mode, accept));
}

void FaultFileSystem::Remove(const std::string& path) {
  Step(path, "removing");
  disk_.Remove(path);
}

void FaultFileSystem::Rename(const std::string& from, const std::string& to) {
  Step(from, "renaming");
  disk_.Rename(from, to);
}

void FaultFileSystem::CopyAccess(const std::string& from, const std::string& to) {
  Step(to, "giving rights");
  disk_.CopyAccess(from, to);
}

void FaultFileSystem::MakeFolders(const std::string& path) {
  Step(path, "making the folder");
  disk_.MakeFolders(path);
}

void FaultFileSystem::SyncFolder(const std::string& folder) {
  Step(folder, "syncing the folder");
  disk_.SyncFolder(folder);
}

}  // namespace kelvorin::tests
