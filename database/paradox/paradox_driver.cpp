#include "database/paradox/paradox_driver.h"

#include "base/M_FILE.h"
#include "database/errors.h"
#include "database/paradox/new_table.h"
#include "database/paradox/paradox_database.h"
#include "database/paradox/table_files.h"
#include "storage/recover.h"

namespace kelvorin::database::paradox {
namespace {

class ParadoxDriver final : public Driver {
 public:
  ParadoxDriver(storage::FileSystem& fs, std::shared_ptr<storage::OpenFiles> files)
      : tables_(std::make_shared<OpenTables>(fs, std::move(files))) {}

  std::string_view Name() const noexcept override { return "Paradox"; }

  bool Handles(std::string_view type_word) const noexcept override {
    Product ignored;
    return FindProduct(type_word, ignored);
  }

  std::unique_ptr<Database> Open(DBEngine& engine, const OpenRequest& request,
                                 const ConnectString& connect) override {
    Product product{};
    if (!FindProduct(connect.type_word(), product))
      Throw(Code::kNotSupported, ErrorNumber::kNoDriver,
            "'" + connect.type_word() + "' is no kind of Paradox table");
    return std::make_unique<ParadoxDatabase>(engine, request, FolderOfName(request.Name), product,
                                             std::string(connect.password()), tables_);
  }

  void Create(const OpenRequest& request, const ConnectString&) override {
    const Status made = base::MakeFolders(request.Name);
    if (!made.ok()) throw Error(made);
  }

  std::vector<std::string> Recover(const OpenRequest& request, const ConnectString& connect,
                                   std::string_view table, RecoverAction action) override {
    storage::FileSystem& fs = tables_->fs();
    const std::string folder = FolderOfName(request.Name);
    std::vector<std::string> names{std::string(table)};
    if (table.empty()) names = ListTables(fs, folder);
    std::vector<std::string> lines;
    for (const std::string& name : names) {
      const std::string path = FindTableFile(fs, folder, name);
      if (path.empty())
        Throw(Code::kNotFound, ErrorNumber::kNotInCollection,
              "there is no table '" + name + "' in folder '" + folder + "'");
      for (std::string& line : storage::RecoverJournal(
               fs, path, storage::JournalAction(action), [&](const auto& store) {
                 return std::make_shared<Table>(store, connect.password());
               }))
        lines.push_back(std::move(line));
    }
    return lines;
  }

 private:
  /// The database is a folder; a table file's name stands for the folder it lies in.
  std::string FolderOfName(const std::string& name) const {
    const std::string wanted = name.empty() ? std::string(".") : name;
    std::string tried = wanted;
    for (bool again = true; again;) {
      try {
        (void)tables_->fs().List(tried);
        return tried;
      } catch (const Error&) {
        again = tried == wanted && WithoutExtension(wanted).size() != wanted.size();
        tried = base::FolderPart(wanted);
        if (tried.empty()) tried = ".";
      }
    }
    Throw(Code::kNotFound, ErrorNumber::kFileNotFound,
          "there is no folder '" + wanted + "' (Paradox tables are files of a folder)");
  }

  std::shared_ptr<OpenTables> tables_;
};

}  // namespace

std::unique_ptr<Driver> MakeParadoxDriver(storage::FileSystem& fs,
                                          std::shared_ptr<storage::OpenFiles> files) {
  return std::make_unique<ParadoxDriver>(fs, std::move(files));
}

}  // namespace kelvorin::database::paradox
