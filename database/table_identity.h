#pragma once
// Which table of a server a record set shows, so that a table is not imported into itself through
// another name of the same source. Record sets of servers derive from it beside `Recordset`.

#include <string>

namespace kelvorin::database {

class TableIdentity {
 public:
  virtual ~TableIdentity() = default;
  /// The same text for the same table, whatever connection leads to it; empty where the server
  /// cannot tell.
  virtual const std::string& Identity() const noexcept = 0;
};

}  // namespace kelvorin::database
