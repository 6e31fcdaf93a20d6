#include "database/xbase/xbase_driver.h"

#include "database/folder/folder_driver.h"
#include "database/xbase/table_files.h"
#include "database/xbase/xbase_database.h"

namespace kelvorin::database::xbase {
namespace {

class XbaseDriver final : public folder::FolderDriver {
 public:
  XbaseDriver(storage::FileSystem& fs, std::shared_ptr<storage::OpenFiles> files)
      : FolderDriver(fs, kTableExtension),
        tables_(std::make_shared<OpenTables>(fs, std::move(files))) {}

  std::string_view Name() const noexcept override { return "dBASE and FoxPro"; }

  bool Handles(std::string_view type_word) const noexcept override {
    Product ignored;
    return FindProduct(type_word, ignored);
  }

  std::unique_ptr<Database> Open(DBEngine& engine, const OpenRequest& request,
                                 const ConnectString& connect) override {
    Product product{};
    if (!FindProduct(connect.type_word(), product)) ThrowUnknownProduct(connect);
    return std::make_unique<XbaseDatabase>(engine, request, FolderOf(request.Name), product,
                                           tables_);
  }

 private:
  std::shared_ptr<void> Attach(const std::shared_ptr<storage::Store>& store,
                               const std::string& path, const ConnectString&) override {
    return std::make_shared<Table>(store, std::string(), FindIndexFiles(tables_->fs(), path));
  }

  std::shared_ptr<OpenTables> tables_;
};

}  // namespace

std::unique_ptr<Driver> MakeXbaseDriver(storage::FileSystem& fs,
                                        std::shared_ptr<storage::OpenFiles> files) {
  return std::make_unique<XbaseDriver>(fs, std::move(files));
}

}  // namespace kelvorin::database::xbase
