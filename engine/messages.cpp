#include "engine/messages.h"

#include "base/M_Const.h"
#include "base/M_STRING.h"

namespace kelvorin::engine {

Message FatalMessage(Step step, const SourceNames& names) {
  switch (step) {
    case Step::kOpenFile:
      return {"Error in accessing import file '%1'", {names.import_file}};
    case Step::kOpenDatabase:
      return {"Error in opening DataBase %1'", {names.database}};
    case Step::kOpenTable:
      return {"Error in openining import table '%1'", {names.import_file}};
    case Step::kFirstRecord:
      return {"Error in accessing first record of source table", {}};
    case Step::kStartingLine:
      return {"Error in moving cursor in source table", {}};
    case Step::kReadFields:
      return {"Error in accessing table fields ", {}};
    case Step::kPosition:
      return {"Error in creating record in destination table", {}};
    case Step::kClose:
      return names.is_table ? Message("Error in closing the import destination table", {})
                            : Message("Error in closing the import text file", {});
    case Step::kPost:
      return {"Error in updating record in destination table", {}};
    case Step::kEstimate:
    case Step::kSplit:
    case Step::kAssign:
      return {};
  }
  return {};
}

Message AssignMessage(std::int64_t line_number, std::string_view value, std::string_view field,
                      values::TypeCode type) {
  return {
      "Error in assigning a value to  a field at line %1\r\n\r\n"
      "Cannot assign value '%2' to field %3 of type %4",
      {base::ToDecimal(line_number), value, field,
       values::FieldType(static_cast<std::int16_t>(type))}};
}

Message PostMessage(const database::DBEngine& engine, const Status& why) {
  constexpr char kPattern[] = "Error in updating record in destination table\r\n%1";
  Message message;
  message.plain = base::Fill(kPattern, {PendingErrors(engine, why)});
  message.shown = base::Tr(kPattern, {ShownErrors(engine, why)});
  return message;
}

Message LimitMessage(std::int32_t nErrorStop) {
  return {"Max Number of errors (%1) reached, stopping the process. ",
          {base::ToDecimal(nErrorStop)}};
}

Message MissingKeyMessage(std::string_view field) {
  return {"You specified KeyLookUp but you did not import the keys for the field : %1", {field}};
}

std::vector<std::string> LossMessages(const contract::RunResult& result) {
  std::vector<std::string> messages;
  const auto add = [&](std::int64_t count, std::string_view words) {
    if (count != 0) messages.push_back(base::ToDecimal(count) + std::string(words));
  };
  add(result.truncated_values, " texts were cut to the size of their field");
  add(result.replaced_characters, " characters are not in a code page and were replaced");
  add(result.changed_values, " values are kept other than they were");
  if (result.first_changed) {
    const contract::ChangedValue& first = *result.first_changed;
    messages.back() += "; the first in line " + base::ToDecimal(first.line_number) + ", field " +
                       first.field + ": '" + first.was + "' is kept as '" + first.is + "'";
  }
  add(result.left_out_values,
      " values stand in columns that neither the heading nor the first record has, and were left "
      "out");
  if (result.left_out_values != 0)
    messages.back() += "; the first in line " + base::ToDecimal(result.first_left_out_line);
  return messages;
}

static std::string ErrorLines(const database::DBEngine& engine, const Status& why, bool shown) {
  const auto said = [&](std::string_view reason) {
    return shown ? base::TrReason(reason) : std::string(reason);
  };
  std::string text;
  for (const database::PendingError& error : engine.Errors()) {
    if (!text.empty()) text += base::kCrLf;
    text += said(error.description) + " (" + base::ToDecimal(error.number) + ")";
  }
  return text.empty() ? said(why.message()) : text;
}

std::string PendingErrors(const database::DBEngine& engine, const Status& why) {
  return ErrorLines(engine, why, false);
}

std::string ShownErrors(const database::DBEngine& engine, const Status& why) {
  return ErrorLines(engine, why, true);
}

}  // namespace kelvorin::engine
