#pragma once
// How the command line tells the outcome of a run.

#include <cstdint>
#include <string_view>

#include "contract/run_result.h"

namespace kelvorin::app {

/// Prints the counts, as one JSON object or as a sentence, on standard output, a fatal error's text
/// on standard error. `layout` tells how a text source was read, for the object; empty otherwise.
/// Returns the exit status.
int PrintSummary(const contract::RunResult& run, std::int64_t milliseconds, bool json,
                 std::string_view layout = {});

}  // namespace kelvorin::app
