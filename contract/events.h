#pragma once
// The six events that the control raises at its host. The forms and the run raise them through
// their caller; the control forwards them to whatever the host connected.

#include <cstdint>
#include <string>
#include <string_view>

#include "base/status.h"

namespace kelvorin::contract {

enum class Event : std::uint8_t {
  kBeforeFieldImport,
  kFilterTable,
  kFilterType,
  kFilterField,
  kValidateBeforePost,
  kValidateAfterPost,
};

/// Parameters taken by reference are read back after the call. An event that is left untouched
/// changes nothing. A handler may throw: the control's adapter catches it, and the run learns of it
/// from `Failure`.
class EventSink {
 public:
  virtual ~EventSink() = default;

  /// Whether anybody is connected to the event; asked once before a run, so that nothing is
  /// prepared for nobody.
  virtual bool Listens(Event event) const noexcept = 0;

  /// `bufField` is the text about to be stored into `FieldName`; the host may replace it.
  virtual void BeforeFieldImport(std::string_view tableName, std::string_view FieldName,
                                 std::int16_t FieldType, std::int16_t FieldSize,
                                 std::string& bufField) = 0;
  virtual void FilterTable(std::string_view tableName, bool& Hide) = 0;
  /// `FileType` is a `FileTypeFormat` value.
  virtual void FilterType(std::int16_t FileType, bool& Hide) = 0;
  virtual void FilterField(std::string_view tableName, std::string_view FieldName, bool& Hide) = 0;
  virtual void ValidateBeforePost(bool& RecordCanceled, bool& ProcessCanceled) = 0;
  virtual void ValidateAfterPost(bool& ProcessCanceled) = 0;

  /// Not ok once a handler has thrown or the host is gone. Asked after events and yields: the run
  /// then drops the record at hand and ends with this text in `LastError`.
  virtual Status Failure() const noexcept { return Status(); }
};

}  // namespace kelvorin::contract
