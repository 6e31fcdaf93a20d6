#pragma once
// File names as people paste and type them, as the paths that they mean.

#include <string>
#include <string_view>

namespace kelvorin::wizard {

/// The path behind a name: blanks and quotes around it go; "file:///tmp/a%20b.csv" and
/// "~/a.csv" are written out; of "/data//tmp/a.csv", typed behind a folder that stood there, the
/// second path counts when the first is no file. A name that is a file as it stands is never
/// changed.
std::string PlainPath(std::string_view name);

}  // namespace kelvorin::wizard
