#pragma once
// A value that is kept outside its record (a memo, a picture), assigned to the record being edited.
// It is stored with the record and not before.

#include <string>

namespace kelvorin::database::folder {

struct PendingValue {
  bool set = false;
  bool null = false;
  std::string raw;  // as stored, texts in the table's code page
};

}  // namespace kelvorin::database::folder
