#pragma once
// A folder of table files as one database: what its drivers share. Lists the tables, finds their
// files, guards the making and deleting, inspects table by table. Drivers derive from it.

#include <string>
#include <string_view>
#include <vector>

#include "database/database.h"
#include "storage/file.h"

namespace kelvorin::database::folder {

class FolderDatabase : public Database {
 protected:
  /// `extension` is that of a table's file, in small letters; `fs` outlives the database.
  FolderDatabase(DBEngine& owner, OpenRequest asked, std::string folder, std::string_view extension,
                 storage::FileSystem& fs);

  storage::FileSystem& fs() const noexcept { return *fs_; }
  const std::string& folder() const noexcept { return folder_; }

  /// Path of a table's file; throws with the number `missing` when there is none.
  std::string PathOf(std::string_view name, ErrorNumber missing) const;
  /// Name of the table that a file holds.
  std::string_view NameOfTable(std::string_view path) const noexcept;
  /// Throws for a name that no file can have, or that would name a file of another folder.
  void CheckNewName(std::string_view name) const;
  /// Path that the file of a new table gets; throws when the table exists.
  std::string PathOfNew(std::string_view name) const;
  /// Gives the finished file of a new table its name, in one step. The journal of a table that had
  /// the name before goes aside.
  void GiveName(const std::string& unnamed, const std::string& path) const;
  /// Throws kLocked when the table is open, here or elsewhere.
  void RequireNobodyElse(const std::string& path) const;
  /// Removes a table that nobody has open: `files` are its own, then all that belongs to it. What a
  /// crash leaves is no table any more.
  void RemoveTable(const std::vector<std::string>& files) const;

 private:
  std::vector<TableInfo> DoTableDefs() final;
  std::vector<std::string> DoInspect(std::string_view name) final;
  void DoClose() override {}

  /// Adds what is wrong with the table of a file, one sentence each; what it throws is one too.
  virtual void InspectFile(const std::string& path, std::vector<std::string>& problems) = 0;

  std::string folder_;
  std::string_view extension_;
  storage::FileSystem* fs_;
};

}  // namespace kelvorin::database::folder
