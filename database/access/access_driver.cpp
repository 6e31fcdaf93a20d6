#include "database/access/access_driver.h"

#include <algorithm>
#include <vector>

#include "base/M_FILE.h"
#include "base/M_STRING.h"
#include "database/access/access_database.h"
#include "database/access/new_database.h"
#include "storage/recover.h"
#include "storage/shared_by_store.h"

namespace kelvorin::database::access {
namespace {

// Users of a shared database each lock one byte of the lock file, far behind its end.
constexpr std::uint64_t kUserLocksAt = 0x10000001;
constexpr std::uint64_t kUserLocks = 0xFF;

class AccessDriver final : public Driver {
 public:
  AccessDriver(storage::FileSystem& fs, std::shared_ptr<storage::OpenFiles> files)
      : fs_(fs), files_(std::move(files)) {}

  std::string_view Name() const noexcept override { return "Access"; }

  bool Handles(std::string_view type_word) const noexcept override {
    return type_word.empty() || base::EqualIgnoreCase(type_word, "Access") ||
           base::EqualIgnoreCase(type_word, "MS Access");
  }

  std::unique_ptr<Database> Open(DBEngine& engine, const OpenRequest& request,
                                 const ConnectString& connect) override {
    if (request.Name.empty())
      Throw(Code::kInvalidArgument, ErrorNumber::kFileNotFound,
            "no file was named for the Access database");
    RefuseWhenInUse(request.Name);
    std::shared_ptr<DatabaseFile> file = OpenFile(request);
    if (!file->CheckPassword(connect.password()))
      Throw(Code::kPassword, ErrorNumber::kWrongPassword,
            "'" + request.Name + "': the database password is not right");
    return std::make_unique<AccessDatabase>(engine, request, std::move(file));
  }

  void Create(const OpenRequest& request, const ConnectString& connect) override {
    const bool exists = fs_.Exists(request.Name);
    if (exists && fs_.Open(request.Name, os::OpenMode::kRead)->Size() > 0)
      Throw(Code::kAlreadyExists, ErrorNumber::kTableExists,
            "'" + request.Name + "' exists already");
    if (base::EqualIgnoreCase(base::ExtensionPart(request.Name), "accdb"))
      Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
            "'" + request.Name +
                "': new databases are made in the format of Access 2000 or 97, whose "
                "files end in .mdb");
    if (!connect.password().empty())
      Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
            "'" + request.Name + "': a new database gets no password");
    const std::string_view version = connect.Get("version").value_or("");
    const bool jet3 = version == "3" || version == "97";
    // A file without a byte is what an interrupted making left.
    if (exists) fs_.Remove(request.Name);
    try {
      storage::StoreOptions options;
      options.create = true;
      const Version made = jet3 ? Version::kJet3 : Version::kJet4;
      options.page_bytes = LayoutOf(made).page_bytes;
      const std::shared_ptr<storage::Store> store = files_->Open(fs_, request.Name, options);
      FillNewDatabase(store, made);
      store->Flush();
    } catch (...) {
      if (fs_.Exists(request.Name)) fs_.Remove(request.Name);
      throw;
    }
  }

  std::vector<std::string> Recover(const OpenRequest& request, const ConnectString&,
                                   std::string_view, RecoverAction action) override {
    return storage::RecoverJournal(fs_, request.Name, storage::JournalAction(action),
                                   [](const auto&) { return nullptr; });
  }

 private:
  std::shared_ptr<DatabaseFile> OpenFile(const OpenRequest& request) {
    storage::StoreOptions options;
    options.read_only = request.ReadOnly;
    options.exclusive = request.Exclusive;
    const std::shared_ptr<storage::Store> store = files_->Open(fs_, request.Name, options);
    if (std::shared_ptr<DatabaseFile> file = open_.Find(*store)) return file;
    return open_.Make(store, [&] {
      const Header header = ReadHeader(*store);
      store->SetPages(storage::kMainFile, LayoutOf(header.version).page_bytes);
      return std::make_shared<DatabaseFile>(store, header);
    });
  }

  /// Another program that shares the database holds a lock in the lock file beside it. One that
  /// nobody holds was left behind and means nothing.
  void RefuseWhenInUse(const std::string& path) {
    const std::size_t dot = path.find_last_of("./\\");
    const std::string stem =
        dot != std::string::npos && path[dot] == '.' ? path.substr(0, dot) : path;
    const bool new_kind = base::EqualIgnoreCase(path.substr(stem.size()), ".accdb");
    for (std::string_view extension : new_kind ? std::vector<std::string_view>{".laccdb", ".LACCDB"}
                                               : std::vector<std::string_view>{".ldb", ".LDB"}) {
      std::string lock_path = stem;
      lock_path += extension;
      if (!fs_.Exists(lock_path)) continue;
      const std::unique_ptr<storage::File> lock = fs_.Open(lock_path, os::OpenMode::kRead);
      if (!lock->TryLock(kUserLocksAt, kUserLocks, os::LockKind::kShared))
        Throw(Code::kLocked, ErrorNumber::kSharingViolation,
              "'" + path + "' is in use by another program, which holds '" + lock_path + "'");
    }
  }

  storage::FileSystem& fs_;
  std::shared_ptr<storage::OpenFiles> files_;
  storage::SharedByStore<DatabaseFile> open_;
};

}  // namespace

std::unique_ptr<Driver> MakeAccessDriver(storage::FileSystem& fs,
                                         std::shared_ptr<storage::OpenFiles> files) {
  return std::make_unique<AccessDriver>(fs, std::move(files));
}

}  // namespace kelvorin::database::access
