#include "database/paradox/paradox_driver.h"

#include "database/folder/folder_driver.h"
#include "database/paradox/paradox_database.h"
#include "database/paradox/table_files.h"

namespace kelvorin::database::paradox {
namespace {

class ParadoxDriver final : public folder::FolderDriver {
 public:
  ParadoxDriver(storage::FileSystem& fs, std::shared_ptr<storage::OpenFiles> files)
      : FolderDriver(fs, kTableExtension),
        tables_(std::make_shared<OpenTables>(fs, std::move(files))) {}

  std::string_view Name() const noexcept override { return "Paradox"; }

  bool Handles(std::string_view type_word) const noexcept override {
    Product ignored;
    return FindProduct(type_word, ignored);
  }

  std::unique_ptr<Database> Open(DBEngine& engine, const OpenRequest& request,
                                 const ConnectString& connect) override {
    Product product{};
    if (!FindProduct(connect.type_word(), product)) ThrowUnknownProduct(connect);
    return std::make_unique<ParadoxDatabase>(engine, request, FolderOf(request.Name), product,
                                             std::string(connect.password()), tables_);
  }

 private:
  std::shared_ptr<void> Attach(const std::shared_ptr<storage::Store>& store, const std::string&,
                               const ConnectString& connect) override {
    return std::make_shared<Table>(store, connect.password());
  }

  std::shared_ptr<OpenTables> tables_;
};

}  // namespace

std::unique_ptr<Driver> MakeParadoxDriver(storage::FileSystem& fs,
                                          std::shared_ptr<storage::OpenFiles> files) {
  return std::make_unique<ParadoxDriver>(fs, std::move(files));
}

}  // namespace kelvorin::database::paradox
