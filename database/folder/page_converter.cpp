#include "database/folder/page_converter.h"

namespace kelvorin::database::folder {

struct PageConverter::Converters {
  base::Converter to_ansi;
  base::Converter from_ansi;
};

PageConverter::PageConverter(int number, const base::CodePage* page) : number_(number) {
  if (page == nullptr) return;
  const base::CodePage& ansi = base::AnsiPage();
  same_ = page->number() == ansi.number();
  converters_ = std::make_shared<const Converters>(
      Converters{base::Converter(*page, ansi), base::Converter(ansi, *page)});
}

bool PageConverter::ConvertToAnsi(std::string_view in, std::string& scratch,
                                  std::string_view& out) const {
  if (converters_ == nullptr) return false;
  scratch.clear();
  unreadable_ += converters_->to_ansi.Append(in, scratch);
  out = scratch;
  return true;
}

bool PageConverter::ConvertFromAnsi(std::string_view in, std::string& scratch,
                                    std::string_view& out, std::size_t& replaced) const {
  if (converters_ == nullptr) return false;
  scratch.clear();
  replaced = converters_->from_ansi.Append(in, scratch);
  out = scratch;
  return true;
}

}  // namespace kelvorin::database::folder
