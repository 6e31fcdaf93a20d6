#include "tests/storage/support/memory_files.h"

#include "base/status.h"

#include <algorithm>
#include <random>

namespace kelvorin::tests {

using storage::File;

struct MemoryFileSystem::Node {
  struct Change {
    std::uint64_t at;
    std::string bytes;
    bool cut;  // to length `at`
  };
  struct Lock {
    const File* owner;
    std::uint64_t begin, end;
    os::LockKind kind;
  };
  static void Apply(std::string& bytes, const Change& change) {
    if (change.cut || change.at + change.bytes.size() > bytes.size())
      bytes.resize(change.at + change.bytes.size(), '\0');
    bytes.replace(change.at, change.bytes.size(), change.bytes);
  }
  void Do(Change change) {
    Apply(bytes, change);
    unsynced.push_back(std::move(change));
  }
  std::uint64_t inode = 0;
  std::uint64_t owner = 0;
  std::uint64_t reserved = 0;
  std::string bytes;
  std::string durable;
  std::vector<Change> unsynced;
  std::vector<Lock> locks;
};

class MemoryFile final : public File {
 public:
  MemoryFile(MemoryFileSystem& fs, std::string path, std::shared_ptr<MemoryFileSystem::Node> node,
             bool at_end)
      : File(std::move(path)), fs_(fs), node_(std::move(node)), at_end_(at_end) {}
  ~MemoryFile() override { Unlock(0, ~std::uint64_t{0}); }

  std::uint64_t Size() override { return node_->bytes.size(); }
  std::size_t Read(std::uint64_t offset, base::MutableByteSpan out) override {
    if (offset >= node_->bytes.size()) return 0;
    const std::size_t count = std::min<std::size_t>(out.size(), node_->bytes.size() - offset);
    std::copy_n(base::AsBytes(node_->bytes).begin() + static_cast<std::ptrdiff_t>(offset), count,
                out.begin());
    return count;
  }
  void Write(std::uint64_t offset, base::ByteSpan in) override {
    Need(offset + in.size());
    node_->Do({offset, std::string(base::AsText(in)), false});
  }
  void Append(base::ByteSpan in) override {
    if (at_end_) at_ = node_->bytes.size();
    Write(at_, in);
    at_ += in.size();
  }
  void Truncate(std::uint64_t size) override {
    node_->reserved = 0;
    node_->Do({size, {}, true});
  }
  void Reserve(std::uint64_t size) override {
    Need(size);
    node_->reserved = std::max(node_->reserved, size);
  }
  void Sync() override {
    node_->durable = node_->bytes;
    node_->unsynced.clear();
  }
  void Close() override { Unlock(0, ~std::uint64_t{0}); }
  bool TryLock(std::uint64_t offset, std::uint64_t length, os::LockKind kind) override {
    for (const auto& lock : node_->locks) {
      if (lock.owner != this && lock.begin < offset + length && offset < lock.end &&
          (kind == os::LockKind::kExclusive || lock.kind == os::LockKind::kExclusive))
        return false;
    }
    node_->locks.push_back({this, offset, offset + length, kind});
    return true;
  }
  void Unlock(std::uint64_t offset, std::uint64_t length) override {
    std::erase_if(node_->locks, [&](const auto& lock) {
      return lock.owner == this && lock.begin >= offset && lock.begin - offset < length;
    });
  }
  os::FileFacts Facts() override { return fs_.FactsOf(node_); }
  void TakeAccess(File& from) noexcept override {
    node_->owner = static_cast<MemoryFile&>(from).node_->owner;
  }

 private:
  void Need(std::uint64_t size) const {
    const std::uint64_t has = std::max<std::uint64_t>(node_->bytes.size(), node_->reserved);
    if (size > has && fs_.Taken() + (size - has) > fs_.room)
      throw Error(Code::kNoSpace, path() + ": the disk is full");
  }
  MemoryFileSystem& fs_;
  std::shared_ptr<MemoryFileSystem::Node> node_;
  const bool at_end_;
  std::uint64_t at_ = 0;
};

std::unique_ptr<File> MemoryFileSystem::Open(const std::string& path, os::OpenMode mode,
                                             os::Accept) {
  const bool must_exist = mode == os::OpenMode::kRead || mode == os::OpenMode::kReadWrite;
  if (!Exists(path) && must_exist) throw Error(Code::kNotFound, path + ": no such file");
  if (Exists(path) && (mode == os::OpenMode::kCreateNew || mode == os::OpenMode::kCreatePrivate))
    throw Error(Code::kAlreadyExists, path + ": the file exists already");
  std::shared_ptr<Node>& node = now_[path];
  if (node == nullptr) {
    node = std::make_shared<Node>();
    node->inode = next_inode_++;
    node->owner = user;
  }
  if (mode == os::OpenMode::kCreateOrTruncate) node->Do({0, {}, true});
  return std::make_unique<MemoryFile>(*this, path, node, mode == os::OpenMode::kAppend);
}

os::FileFacts MemoryFileSystem::FactsOf(const std::shared_ptr<Node>& node) const {
  os::FileFacts facts{.kind = os::FileKind::kRegular,
                      .identity = {.device = 1, .inode = node->inode},
                      .size = node->bytes.size(),
                      .owner = node->owner};
  for (const auto& [path, other] : now_) facts.links += other == node ? 1u : 0u;
  return facts;
}

os::FileFacts MemoryFileSystem::Look(const std::string& path) {
  return Has(path) ? FactsOf(now_.at(path)) : os::FileFacts{};
}

void MemoryFileSystem::SetOwner(const std::string& path, std::uint64_t owner) {
  now_.at(path)->owner = owner;
}

std::uint64_t MemoryFileSystem::Owner(const std::string& path) const {
  return now_.at(path)->owner;
}

void MemoryFileSystem::Remove(const std::string& path) {
  if (now_.erase(path) == 0) throw Error(Code::kNotFound, path + ": no such file");
}

void MemoryFileSystem::Rename(const std::string& from, const std::string& to) {
  if (!Exists(from)) throw Error(Code::kNotFound, from + ": no such file");
  now_[to] = now_.at(from);
  now_.erase(from);
}

void MemoryFileSystem::CopyAccess(const std::string& from, const std::string& to) {
  now_.at(to)->owner = now_.at(from)->owner;
}

std::vector<std::string> MemoryFileSystem::List(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& [path, node] : now_) {
    if (storage::FolderOf(path) == folder) names.push_back(storage::NameOf(path));
  }
  return names;
}

void MemoryFileSystem::SyncFolder(const std::string& folder) {
  const auto inside = [&](const auto& entry) { return storage::FolderOf(entry.first) == folder; };
  std::erase_if(durable_, inside);
  std::copy_if(now_.begin(), now_.end(), std::inserter(durable_, durable_.end()), inside);
}

void MemoryFileSystem::Crash(Tail tail, std::uint32_t seed) {
  std::minstd_rand random(seed + 1);
  const auto kept = [&] {
    return tail == Tail::kAll || (tail == Tail::kSome && random() % 2 == 0);
  };
  Folder names = durable_;
  for (const auto& [path, node] : durable_) {
    if (!now_.contains(path) && kept()) names.erase(path);
  }
  for (const auto& [path, node] : now_) {
    if ((!durable_.contains(path) || durable_.at(path) != node) && kept()) names[path] = node;
  }
  for (const auto& [path, node] : names) {
    std::string bytes = node->durable;
    for (const Node::Change& change : node->unsynced) {
      if (change.cut) {
        if (kept()) Node::Apply(bytes, change);
        continue;
      }
      for (std::size_t at = 0; at < change.bytes.size();) {
        const std::size_t sector = 512 - (change.at + at) % 512;
        if (kept()) Node::Apply(bytes, {change.at + at, change.bytes.substr(at, sector), false});
        at += sector;
      }
    }
    node->bytes = node->durable = bytes;
    node->unsynced.clear();
    node->locks.clear();
    node->reserved = 0;
  }
  now_ = durable_ = names;
}

std::string MemoryFileSystem::Contents(const std::string& path) const {
  return now_.at(path)->bytes;
}

void MemoryFileSystem::Put(const std::string& path, std::string_view contents) {
  const auto file = Open(path, os::OpenMode::kCreateOrTruncate);
  file->Write(0, base::AsBytes(contents));
  file->Sync();
  SyncFolder(storage::FolderOf(path));
}

void MemoryFileSystem::Take(const MemoryFileSystem& other) {
  for (const auto& [path, node] : other.now_) Put(path, node->bytes);
}

std::uint64_t MemoryFileSystem::Taken() const {
  std::uint64_t taken = 0;
  for (const auto& [path, node] : now_)
    taken += std::max<std::uint64_t>(node->bytes.size(), node->reserved);
  return taken;
}

}  // namespace kelvorin::tests
