#include "database/xbase/xbase_driver.h"

#include "base/M_FILE.h"
#include "base/M_STRING.h"
#include "database/errors.h"
#include "database/xbase/table_files.h"
#include "database/xbase/xbase_database.h"
#include "storage/recover.h"

#include <optional>

namespace kelvorin::database::xbase {
namespace {

class XbaseDriver final : public Driver {
 public:
  XbaseDriver(storage::FileSystem& fs, std::shared_ptr<storage::OpenFiles> files)
      : tables_(std::make_shared<OpenTables>(fs, std::move(files))) {}

  std::string_view Name() const noexcept override { return "dBASE and FoxPro"; }

  bool Handles(std::string_view type_word) const noexcept override {
    Product ignored;
    return FindProduct(type_word, ignored);
  }

  std::unique_ptr<Database> Open(DBEngine& engine, const OpenRequest& request,
                                 const ConnectString& connect) override {
    return std::make_unique<XbaseDatabase>(engine, request, FolderFor(request.Name),
                                           ProductOf(connect), tables_);
  }

  void Create(const OpenRequest& request, const ConnectString&) override {
    const Status made = base::MakeFolders(request.Name);
    if (!made.ok()) throw Error(made);
  }

  std::vector<std::string> Recover(const OpenRequest& request, const ConnectString&,
                                   std::string_view table, RecoverAction action) override {
    storage::FileSystem& fs = tables_->fs();
    const std::string folder = FolderFor(request.Name);
    std::vector<std::string> names{std::string(table)};
    if (table.empty()) names = ListTables(fs, folder);
    std::vector<std::string> lines;
    for (const std::string& name : names) {
      const std::string path = FindTableFile(fs, folder, name);
      if (path.empty())
        Throw(Code::kNotFound, ErrorNumber::kNotInCollection,
              "there is no table '" + name + "' in folder '" + folder + "'");
      const std::vector<IndexFileName> indexes = FindIndexFiles(fs, path);
      for (std::string& line : storage::RecoverJournal(
               fs, path, storage::JournalAction(action), [&](const auto& store) {
                 return std::make_shared<Table>(store, std::string(), indexes);
               }))
        lines.push_back(std::move(line));
    }
    return lines;
  }

 private:
  static Product ProductOf(const ConnectString& connect) {
    Product product{};
    if (!FindProduct(connect.type_word(), product))
      Throw(Code::kNotSupported, ErrorNumber::kNoDriver,
            "'" + connect.type_word() + "' is no kind of dBASE or FoxPro table");
    return product;
  }

  bool IsFolder(const std::string& path) const {
    try {
      (void)tables_->fs().List(path);
      return true;
    } catch (const Error&) {
      return false;
    }
  }

  /// The folder that is the database; where the name is a table file's, the folder it lies in.
  std::string FolderFor(const std::string& name) const {
    const std::string asked = name.empty() ? "." : name;
    if (IsFolder(asked)) return asked;
    std::string folder(base::FolderPart(asked));
    if (folder.empty()) folder = ".";
    if (WithoutExtension(asked).size() != asked.size() && IsFolder(folder)) return folder;
    Throw(Code::kNotFound, ErrorNumber::kFileNotFound,
          "there is no folder '" + asked + "' (a folder of table files is the database)");
  }

  std::shared_ptr<OpenTables> tables_;
};

}  // namespace

std::unique_ptr<Driver> MakeXbaseDriver(storage::FileSystem& fs,
                                        std::shared_ptr<storage::OpenFiles> files) {
  return std::make_unique<XbaseDriver>(fs, std::move(files));
}

}  // namespace kelvorin::database::xbase
