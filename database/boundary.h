#pragma once
// The boundary between drivers, which throw, and everybody else, who never meets an exception: one
// function that calls a driver and turns whatever it threw into a `Status` and pending errors.
// Included by .cpp files of this room, and of drivers that offer a further interface of their own.

#include <type_traits>
#include <utility>

#include "base/status.h"
#include "database/engine.h"

namespace kelvorin::database {

/// A failure noted as pending error; one without an engine number gets that of its code.
Status NotedStatus(DBEngine& engine, Status status) noexcept;
/// The exception being handled, as a noted status. What is no `Error` becomes kInternal.
Status CaughtStatus(DBEngine& engine) noexcept;

/// Calls `call` and answers with its outcome: a `Status` for one that returns nothing or a status,
/// a `Result` for one that returns a value. A returned failure is noted as pending error too, so
/// calls must not be nested: the outer one would forget what the driver told the inner one.
template <typename F>
auto Guarded(DBEngine& engine, F&& call) noexcept {
  using T = std::invoke_result_t<F>;
  if constexpr (std::is_void_v<T>) {
    try {
      call();
      return Status();
    } catch (...) {
      return CaughtStatus(engine);
    }
  } else if constexpr (std::is_same_v<T, Status>) {
    try {
      Status status = call();
      return status.ok() ? Status() : NotedStatus(engine, std::move(status));
    } catch (...) {
      return CaughtStatus(engine);
    }
  } else {
    try {
      return Result<T>(call());
    } catch (...) {
      return Result<T>(CaughtStatus(engine));
    }
  }
}

}  // namespace kelvorin::database
