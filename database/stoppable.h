#pragma once
// Record sets whose rows a server hands out, so that a person need not wait for one that does not
// answer. Those that can end their waiting derive from it beside `Recordset`.

#include <functional>

namespace kelvorin::database {

class Stoppable {
 public:
  virtual ~Stoppable() = default;
  /// `stop` is asked several times a second while rows are waited for; when it returns true the
  /// waiting ends with a failure. It may be empty, and is not asked any more once the record set is
  /// gone.
  virtual void StopWhen(std::function<bool()> stop) = 0;
};

}  // namespace kelvorin::database
