#pragma once
// Which table a record set shows, so that a table is not imported into itself through another name,
// a link, another data source or a view. Record sets that can tell derive from it beside
// `Recordset`.

#include <string>

namespace kelvorin::database {

class TableIdentity {
 public:
  virtual ~TableIdentity() = default;
  /// The same text for the same table, whatever name or connection leads to it; empty where the
  /// server cannot tell.
  virtual const std::string& Identity() const noexcept = 0;
  /// Whether the rows come out of the other table: it is the same one, or this one is a view of
  /// it. Asks the server, which answers false where it cannot tell.
  virtual bool Shows(const TableIdentity& other) const {
    return !Identity().empty() && Identity() == other.Identity();
  }
};

}  // namespace kelvorin::database
