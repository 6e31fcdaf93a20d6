#pragma once
// What the ODBC benchmark imports: a text file of ten fields a record, and the plainest way to read
// it. Used by every strategy of the benchmark, so that they differ in nothing but the sending.

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace kelvorin::bench {

inline constexpr std::size_t kFieldCount = 10;
/// Whether a field is written as it stands, without quotes.
inline constexpr std::array<bool, kFieldCount> kIsNumber = {true, false, false, false, true,
                                                            true, false, false, false, true};
inline constexpr const char* kFieldNames[kFieldCount] = {"id",   "name", "street", "city", "zip",
                                                         "debt", "born", "mail",   "note", "grade"};

using Fields = std::array<std::string_view, kFieldCount>;

/// "id,name,...": about 140 bytes a record, one text in twenty with an apostrophe. With `bad_every`
/// each such record repeats the key of the one before it; 0 for none.
void WriteRecords(const std::string& path, std::size_t count, std::size_t bad_every);
/// Reads the file in large blocks and hands out the fields of one record after another.
void ForEachRecord(const std::string& path, const std::function<void(const Fields&)>& take);
/// A field as SQL, quoted where it is text.
void AppendSql(std::string_view value, bool is_number, std::string& out);

/// "CREATE TABLE ..." for a server.
std::string CreateTable(std::string_view server);

}  // namespace kelvorin::bench
