#pragma once
// What the drivers of table files share: a folder is the database, a table file's name stands for
// the folder it lies in, each table has a journal of its own. Drivers derive from it.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "database/engine.h"
#include "storage/store.h"

namespace kelvorin::database::folder {

class FolderDriver : public Driver {
 public:
  void Create(const OpenRequest& request, const ConnectString& connect) override;
  std::vector<std::string> Recover(const OpenRequest& request, const ConnectString& connect,
                                   std::string_view table, RecoverAction action) override;

 protected:
  /// `extension` is that of a table's file, in small letters; `fs` outlives the driver.
  FolderDriver(storage::FileSystem& fs, std::string_view extension)
      : fs_(&fs), extension_(extension) {}

  /// The folder that is the database; throws kNotFound when there is none.
  std::string FolderOf(const std::string& name) const;
  [[noreturn]] void ThrowUnknownProduct(const ConnectString& connect) const;

 private:
  /// Opens the table of a store, all companions attached, so that its journal can be looked at.
  virtual std::shared_ptr<void> Attach(const std::shared_ptr<storage::Store>& store,
                                       const std::string& path, const ConnectString& connect) = 0;

  storage::FileSystem* fs_;
  std::string_view extension_;
};

}  // namespace kelvorin::database::folder
