#include "job/job_locale.h"

#include "base/M_STRING.h"
#include "engine/source_reader.h"

namespace kelvorin::job {
namespace {

Status ReadDateOrder(const std::string& text, values::DateOrder& order) {
  using values::DateOrder;
  if (base::EqualIgnoreCase(text, "dmy")) {
    order = DateOrder::kDayMonthYear;
  } else if (base::EqualIgnoreCase(text, "mdy")) {
    order = DateOrder::kMonthDayYear;
  } else if (base::EqualIgnoreCase(text, "ymd")) {
    order = DateOrder::kYearMonthDay;
  } else {
    return Status(Code::kInvalidArgument, "'" + text + "' is no order of dates (dmy, mdy or ymd)");
  }
  return Status();
}

}  // namespace

JobLocale::JobLocale(database::DBEngine& engine)
    : engine_(engine),
      format_(engine.Format()),
      ansi_page_(base::AnsiPage().number()),
      oem_page_(base::OemPage().number()) {}

JobLocale::~JobLocale() {
  engine_.set_format(std::move(format_));
  // Both were in force before, so they are known.
  static_cast<void>(base::SetAnsiPage(ansi_page_).ok());
  static_cast<void>(base::SetOemPage(oem_page_).ok());
}

Status JobLocale::Apply(const settings::ImportSetting& setting) {
  values::FormatOptions options = format_.options();
  if (!setting.DateOrder.empty()) KV_TRY(ReadDateOrder(setting.DateOrder, options.date_order));
  if (!setting.Decimal.empty()) {
    if (setting.Decimal.size() != 1)
      return Status(Code::kInvalidArgument,
                    "'" + setting.Decimal + "' is no decimal sign: it must be one character");
    options.decimal = setting.Decimal.front();
    if (options.thousands == options.decimal)
      options.thousands = options.decimal == ',' ? '.' : ',';
  }
  KV_TRY(base::SetAnsiPage(ansi_page_));
  if (setting.AnsiPage != 0 && !engine::ReadsByConversion(setting))
    KV_TRY(base::SetAnsiPage(setting.AnsiPage));
  KV_TRY(base::SetOemPage(setting.OemPage != 0 ? setting.OemPage : oem_page_));
  engine_.set_format(values::ValueFormat(std::move(options)));
  return Status();
}

}  // namespace kelvorin::job
