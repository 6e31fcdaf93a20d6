#include "wizard/frm_advanced.h"

#include "base/language.h"

#include <algorithm>
#include <limits>
#include <span>

#include "base/M_STRING.h"
#include "base/code_page.h"
#include "contract/enums.h"

namespace kelvorin::wizard {

using base::Tr;

using contract::Buttons;
using contract::Control;
using contract::Icon;

namespace {

// Groups of option buttons that exclude each other.
enum Group : int { kSeparator = 1, kMode, kWay, kTrace };

void Enable(bool enabled, std::initializer_list<Control*> controls) {
  for (Control* control : controls) control->SetEnabled(enabled);
}

constexpr char kLongLength[] =
    "The record length %1 is too large: settings hold numbers up to 32767";
constexpr char kManyLines[] =
    "The number of lines %1 is too large: settings hold numbers up to 32767";
constexpr char kLateLine[] = "The first line %1 is too large: settings hold numbers up to 32767";
constexpr char kManyErrors[] =
    "The number of errors %1 is too large: settings hold numbers up to 32767";

// Tells a number that no setting can hold.
Status ReadNumber(const Control& box, const char* too_large, std::int32_t& out) {
  const std::int64_t number = base::ParseInteger(box.text());
  if (number > std::numeric_limits<std::int16_t>::max())
    return Status(Code::kOutOfRange, Tr(too_large, {box.text()}));
  out = static_cast<std::int32_t>(number);
  return Status();
}

}  // namespace

frmAdvanced::frmAdvanced(contract::Platform& platform)
    : Form("frmAdvanced", "Advanced options"), platform_(platform) {
  for (Control* option : {&RBtnCRLF, &RBtnCR, &RBtnLF, &RBtnOther, &RBtnNoSeparator})
    option->group = kSeparator;
  RBtnAppendRecords.group = RBtnUpdateRecords.group = kMode;
  RBtnUseIndex.group = RBtnTableOrder.group = kWay;
  RBtnTraceOn.group = RBtnTraceOff.group = kTrace;
  for (Control* box : {&EdtStartLine, &EdtNbLineMax, &EdtRecLength, &EdtMaxErrors})
    box->digits_only = true;
  EdtLogFile.file_name = true;

  // As the form stands before anything is filled in.
  for (Control* control :
       {&RBtnCRLF, &RBtnAppendRecords, &RBtnTableOrder, &RBtnTraceOff, &CBoxAllImport, &CBoxErrors})
    control->SetValue(true);

  TabStrip1.accessible_name = Tr("Groups of options");
  EdtOtherChar.accessible_name = Tr("Other record separator");
  EdtRecLength.accessible_name = Tr("Record length");
  EdtStartLine.accessible_name = Tr("First line");
  EdtNbLineMax.accessible_name = Tr("Lines to import");
  CBoxIndexes.accessible_name = Tr("Index");
  EdtMaxErrors.accessible_name = Tr("Number of errors");
  EdtLogFile.accessible_name = Tr("Log file");
  BtnBrowseLog.accessible_name = BtnBrowseLog.tool_tip = Tr("Browse for the log file");
  CBoxAnsiPage.accessible_name = Tr("Encoding");
  CBoxOemPage.accessible_name = Tr("Dos page");
  CBoxDateOrder.accessible_name = Tr("Order of dates");
  CBoxDecimal.accessible_name = Tr("Decimal sign");
  EdtNullText.accessible_name = Tr("Text for Null");
  GrdSample.accessible_name = Tr("First records");
  RBtnTraceOn.accessible_name = Tr("Trace on");
  RBtnTraceOff.accessible_name = Tr("Trace off");
  RBtnCRLF.accessible_name = Tr("CRLF, carriage return and line feed");
  RBtnCR.accessible_name = Tr("CR, carriage return");
  RBtnLF.accessible_name = Tr("LF, line feed");
  bntOK.default_button = true;
  bntCancel.cancel_button = true;
  Connect();
  Form_Load();
}

void frmAdvanced::Connect() {
  TabStrip1.on_click = [this] { TabStrip1_Click(); };
  RBtnAppendRecords.on_click = [this] { RBtnAppendRecords_Click(); };
  RBtnUpdateRecords.on_click = [this] { RBtnUpdateRecords_Click(); };
  RBtnUseIndex.on_click = [this] { RBtnUseIndex_Click(); };
  RBtnTableOrder.on_click = [this] { RBtnTableOrder_Click(); };
  CBoxKeyLookUp.on_click = [this] { CBoxKeyLookUp_Click(); };
  CBoxUpper.on_click = [this] {
    if (CBoxUpper.value()) CBoxLower.SetValue(false);
  };
  CBoxLower.on_click = [this] {
    if (CBoxLower.value()) CBoxUpper.SetValue(false);
  };
  CBoxAllImport.on_click = [this] { CBoxAllImport_Click(); };
  CBoxStopIfErrors.on_click = [this] { CBoxStopIfErrors_Click(); };
  RBtnTraceOn.on_click = RBtnTraceOff.on_click = [this] { RBtnTrace_Click(); };
  RBtnOther.on_click = [this] { EdtOtherChar.SetFocus(); };
  RBtnNoSeparator.on_click = [this] { EdtRecLength.SetFocus(); };
  BtnBrowseLog.on_click = [this] { BtnBrowseLog_Click(); };
  for (Control* option : {&CBoxAnsiPage, &CBoxOemPage, &CBoxTrim, &CBoxOem2Ansi, &CBoxDateOrder,
                          &CBoxDecimal, &CBoxExact})
    option->on_click = [this] { ShowSample(); };
  EdtNullText.on_change = [this] { ShowSample(); };
  bntOK.on_click = [this] { bntOK_Click(); };
  bntCancel.on_click = [this] { bntCancel_Click(); };
}

void frmAdvanced::Form_Load() {
  TabStrip1.Clear();
  const char* const kTabs[] = {"General", "Import Mode", "Errors/Trace", "Advanced"};
  for (int page = 0; page < 4; ++page) TabStrip1.AddItem(Tr(kTabs[page]), page);
  TabStrip1.SelectItem(0);
  TabStrip1_Click();
  RBtnAppendRecords_Click();
  RBtnTrace_Click();
  CBoxStopIfErrors_Click();
}

void frmAdvanced::Fill(const settings::ImportSetting& setting,
                       const std::vector<std::string>& indexes,
                       const contract::Properties& properties) {
  Control* const separators[] = {&RBtnCRLF, &RBtnCR, &RBtnLF, &RBtnOther, &RBtnNoSeparator};
  if (setting.RecSeparator >= 0 && setting.RecSeparator <= 4)
    separators[setting.RecSeparator]->SetValue(true);
  if (RBtnOther.value()) EdtOtherChar.SetText(setting.RecSepOther);
  if (RBtnNoSeparator.value()) EdtRecLength.SetText(base::ToDecimal(setting.RecLength));

  CBoxQuotedLineEnds.SetValue(setting.QuotedLineEnds != 0);
  CBoxQuotedLineEnds.SetEnabled(setting.TypeFormat == contract::kDelimitedText &&
                                setting.UseDelimiter);
  CBoxOem2Ansi.SetValue(setting.OemConvert);
  CBoxUpper.SetValue(setting.Upper);
  CBoxLower.SetValue(setting.Lower);
  CBoxAllImport.SetValue(setting.AllLines);
  Enable(!setting.AllLines, {&EdtNbLineMax, &LblNbLinesToImport});
  EdtNbLineMax.SetText(base::ToDecimal(setting.MaxLines));
  EdtStartLine.SetText(base::ToDecimal(setting.StartingLine));
  if (!contract::IsTextKind(setting.TypeFormat)) {
    FrameRecSep.SetEnabled(false);
    for (Control* separator : separators) separator->SetEnabled(false);
    EdtRecLength.SetEnabled(false);
  }

  FillIndexes(setting, indexes);
  RBtnAppendRecords.SetValue(setting.AppendRecords);
  RBtnUpdateRecords.SetValue(!setting.AppendRecords);
  RBtnUseIndex.SetValue(setting.UpdateIndex);
  RBtnTableOrder.SetValue(!RBtnUseIndex.value());
  CBoxKeyLookUp.SetValue(setting.KeyLookUp);
  CBoxAppendFields.SetValue(setting.AppendFields);
  CBoxAppendIfEof.SetValue(setting.AppendIfEof);

  RBtnTraceOn.SetValue(setting.Trace);
  RBtnTraceOff.SetValue(!setting.Trace);
  EdtLogFile.SetText(setting.LogFileName);
  CBoxLogAppend.SetValue(setting.LogAppend);
  CBoxEmptyTarget.SetValue(setting.EmptyTarget);
  CBoxDeleteImportFile.SetValue(setting.DeleteImportFile);
  CBoxErrors.SetValue(setting.ShowErrors);
  CBoxStopIfErrors.SetValue(setting.LimitErrors);
  EdtMaxErrors.SetText(base::ToDecimal(setting.nErrorStop));
  Enable(setting.LimitErrors, {&EdtMaxErrors, &LblMaxErrors});

  FillValueOptions(setting);
  std::size_t removed = 0;
  if (!properties.ShowUpdateOption) TabStrip1.RemoveItem(1 - removed++);
  if (!properties.ShowErrorsOption) TabStrip1.RemoveItem(2 - removed++);
  if (!properties.ShowAdvancedOption) TabStrip1.RemoveItem(3 - removed++);
}

void frmAdvanced::FillIndexes(const settings::ImportSetting& setting,
                              const std::vector<std::string>& indexes) {
  has_index_ = !indexes.empty();
  CBoxIndexes.SetItems(indexes);
  if (!has_index_) {
    CBoxIndexes.AddItem(Tr("No index"));
    CBoxIndexes.SetEnabled(false);
  }
  CBoxIndexes.SelectItem(0);
  if (!setting.UpdateIndex) return;
  const auto found = std::find(indexes.begin(), indexes.end(), setting.IndexName);
  if (found != indexes.end()) CBoxIndexes.SelectItem(static_cast<int>(found - indexes.begin()));
}

Status frmAdvanced::CopyBack(settings::ImportSetting& setting) const {
  settings::ImportSetting taken = setting;
  const Control* const separators[] = {&RBtnCRLF, &RBtnCR, &RBtnLF, &RBtnOther, &RBtnNoSeparator};
  for (std::int32_t i = 0; i < 5; ++i)
    if (separators[i]->value()) taken.RecSeparator = i;
  if (taken.RecSeparator == 3) taken.RecSepOther = EdtOtherChar.text();
  taken.RecLength = 0;
  if (taken.RecSeparator == 4) KV_TRY(ReadNumber(EdtRecLength, kLongLength, taken.RecLength));
  taken.QuotedLineEnds = CBoxQuotedLineEnds.value() ? 1 : 0;
  taken.OemConvert = CBoxOem2Ansi.value();
  taken.Upper = CBoxUpper.value();
  taken.Lower = CBoxLower.value();
  taken.AllLines = CBoxAllImport.value();
  taken.MaxLines = 0;
  if (!taken.AllLines) KV_TRY(ReadNumber(EdtNbLineMax, kManyLines, taken.MaxLines));
  KV_TRY(ReadNumber(EdtStartLine, kLateLine, taken.StartingLine));

  taken.AppendRecords = RBtnAppendRecords.value();
  const bool update = !taken.AppendRecords;
  taken.UpdateIndex = RBtnUseIndex.value() && update;
  taken.KeyLookUp = CBoxKeyLookUp.value() && taken.UpdateIndex;
  taken.AppendFields = CBoxAppendFields.value() && update;
  taken.AppendIfEof = CBoxAppendIfEof.value() && update;
  if (taken.UpdateIndex) taken.IndexName = CBoxIndexes.text();

  taken.Trace = !RBtnTraceOff.value();
  taken.LogFileName = EdtLogFile.text();
  taken.LogAppend = CBoxLogAppend.value();
  taken.EmptyTarget = CBoxEmptyTarget.value();
  taken.DeleteImportFile = CBoxDeleteImportFile.value();
  taken.ShowErrors = CBoxErrors.value();
  taken.LimitErrors = CBoxStopIfErrors.value();
  KV_TRY(ReadNumber(EdtMaxErrors, kManyErrors, taken.nErrorStop));
  CopyValueOptions(taken);
  setting = std::move(taken);
  return Status();
}

// --- How values are written

namespace {

constexpr int kPages[] = {65001, 1250, 1251, 1252,  1253, 1254, 1255,  1256,  1257,  1258,  437,
                          850,   852,  866,  10000, 1200, 1201, 28591, 28592, 28595, 28599, 28605};
constexpr int kDosPages[] = {437, 850, 852, 866};

void FillPages(Control& list, std::span<const int> pages, std::int32_t chosen) {
  list.Clear();
  list.AddItem(Tr("(usual)"), 0);
  for (const int page : pages) {
    const base::CodePage* known = base::FindCodePage(page);
    std::string name = page == 1200 ? "UTF-16" : page == 1201 ? Tr("UTF-16, big end first") : "";
    if (known != nullptr) name = known->name();
    if (!name.empty()) list.AddItem(name + " (" + base::ToDecimal(page) + ")", page);
  }
  list.SelectItem(0);
  for (std::size_t i = 0; i < list.items().size(); ++i)
    if (list.item_data(i) == chosen) list.SelectItem(static_cast<int>(i));
  if (chosen == 0 || list.list_index() != 0) return;
  list.AddItem(base::ToDecimal(chosen), chosen);  // a page of the setting that is none of ours
  list.SelectItem(static_cast<int>(list.items().size()) - 1);
}

// Entries with the texts that a setting holds for them.
struct Written {
  const char* entry;
  const char* text;
};
constexpr Written kDateOrders[] = {{"(usual)", ""},
                                   {"day month year", "dmy"},
                                   {"month day year", "mdy"},
                                   {"year month day", "ymd"}};
constexpr Written kDecimals[] = {{"(usual)", ""}, {"point", "."}, {"comma", ","}};

void FillWritten(Control& list, std::span<const Written> all, const std::string& chosen) {
  list.Clear();
  for (const Written& one : all) list.AddItem(Tr(one.entry));
  list.SelectItem(-1);
  for (std::size_t i = 0; i < all.size(); ++i)
    if (base::EqualIgnoreCase(all[i].text, chosen)) list.SelectItem(static_cast<int>(i));
}

// A text that is none of the entries stays as it is until another is chosen.
void TakeWritten(const Control& list, std::span<const Written> all, std::string& text) {
  if (list.list_index() >= 0) text = all[static_cast<std::size_t>(list.list_index())].text;
}

std::int32_t ChosenData(const Control& list) {
  return list.list_index() < 0 ? 0 : list.item_data(static_cast<std::size_t>(list.list_index()));
}

}  // namespace

void frmAdvanced::FillValueOptions(const settings::ImportSetting& setting) {
  shown_ = setting;
  FillPages(CBoxAnsiPage, kPages, setting.AnsiPage);
  FillPages(CBoxOemPage, kDosPages, setting.OemPage);
  FillWritten(CBoxDateOrder, kDateOrders, setting.DateOrder);
  FillWritten(CBoxDecimal, kDecimals, setting.Decimal);
  EdtNullText.SetText(setting.NullText);
  CBoxTrim.SetValue(setting.Trim != 0);
  CBoxExact.SetValue(setting.ExactValues != 0);
  const bool text = contract::IsTextKind(setting.TypeFormat);
  Enable(text, {&CBoxAnsiPage, &LblAnsiPage, &CBoxTrim});
  GrdSample.SetVisible(text);
}

void frmAdvanced::CopyValueOptions(settings::ImportSetting& setting) const {
  setting.AnsiPage = ChosenData(CBoxAnsiPage);
  setting.OemPage = ChosenData(CBoxOemPage);
  TakeWritten(CBoxDateOrder, kDateOrders, setting.DateOrder);
  TakeWritten(CBoxDecimal, kDecimals, setting.Decimal);
  setting.NullText = EdtNullText.text();
  setting.Trim = CBoxTrim.value() ? 1 : 0;
  setting.ExactValues = CBoxExact.value() ? 1 : 0;
}

void frmAdvanced::SetSample(std::function<Sample(const settings::ImportSetting&)> sample) {
  sample_ = std::move(sample);
  ShowSample();
}

void frmAdvanced::ShowSample() {
  if (!sample_ || !GrdSample.visible()) return;
  settings::ImportSetting setting = shown_;
  // Numbers out of range are told by OK.
  if (!CopyBack(setting).ok()) return;
  Sample sample = sample_(setting);
  GrdSample.Fill(std::move(sample.headings), std::move(sample.rows));
}

// --- Enabling

void frmAdvanced::TabStrip1_Click() {
  if (TabStrip1.list_index() < 0) return;
  const int page = TabStrip1.item_data(static_cast<std::size_t>(TabStrip1.list_index()));
  Control* const pages[] = {&Frame1_0, &Frame1_1, &Frame1_2, &Frame1_3};
  for (int i = 0; i < 4; ++i) pages[i]->SetVisible(i == page);
  if (page == 3) ShowSample();  // by what was changed on the other pages
}

void frmAdvanced::ShowMode() {
  const bool update = !RBtnAppendRecords.value();
  const bool by_index = update && !RBtnTableOrder.value();
  Enable(update, {&RBtnUseIndex, &RBtnTableOrder, &CBoxAppendFields});
  Enable(by_index, {&CBoxIndexes, &LblIndexDescr, &CBoxKeyLookUp});
  // A looked-up key that is missing is no end of the table.
  CBoxAppendIfEof.SetEnabled(update && !(by_index && CBoxKeyLookUp.value()));
}

void frmAdvanced::RBtnAppendRecords_Click() {
  RBtnUpdateRecords.SetValue(false);
  ShowMode();
}

void frmAdvanced::RBtnUpdateRecords_Click() {
  RBtnAppendRecords.SetValue(false);
  ShowMode();
}

void frmAdvanced::RBtnUseIndex_Click() {
  if (has_index_) {
    ShowMode();
    return;
  }
  platform_.Ask({Tr("The table has no index"), Tr("Warning"), Icon::kExclamation, Buttons::kOk});
  RBtnTableOrder.SetValue(true);
}

void frmAdvanced::RBtnTableOrder_Click() {
  CBoxKeyLookUp.SetValue(false);  // keys are looked up in an index
  ShowMode();
}

void frmAdvanced::CBoxKeyLookUp_Click() {
  if (CBoxKeyLookUp.value()) CBoxAppendIfEof.SetValue(false);
  ShowMode();
}

void frmAdvanced::CBoxAllImport_Click() {
  const bool all = CBoxAllImport.value();
  Enable(!all, {&EdtNbLineMax, &LblNbLinesToImport});
  if (!all) EdtNbLineMax.SetFocus();
}

void frmAdvanced::CBoxStopIfErrors_Click() {
  const bool limited = CBoxStopIfErrors.value();
  Enable(limited, {&EdtMaxErrors, &LblMaxErrors});
  if (limited) EdtMaxErrors.SetFocus();
}

void frmAdvanced::RBtnTrace_Click() {
  Enable(RBtnTraceOn.value(), {&EdtLogFile, &BtnBrowseLog, &CBoxLogAppend, &LblFilePath});
}

void frmAdvanced::BtnBrowseLog_Click() {
  contract::FileDialog dialog;
  dialog.filter = "All Files (*.*)|*.*|Text Files(*.txt;*.log)|*.txt;*.log";
  dialog.file_name = EdtLogFile.text();
  dialog.save = true;
  dialog.keeps = CBoxLogAppend.value();
  const std::string chosen = platform_.ChooseFile(dialog);
  if (!chosen.empty()) EdtLogFile.SetText(chosen);
}

bool frmAdvanced::NumbersFit() {
  struct Box {
    Control& box;
    const char* what;
    int page;
    bool counts;
  };
  const Box boxes[] = {{EdtRecLength, kLongLength, 0, RBtnNoSeparator.value()},
                       {EdtStartLine, kLateLine, 0, true},
                       {EdtNbLineMax, kManyLines, 0, !CBoxAllImport.value()},
                       {EdtMaxErrors, kManyErrors, 2, true}};
  for (const Box& number : boxes) {
    std::int32_t ignored = 0;
    const Status fits = number.counts ? ReadNumber(number.box, number.what, ignored) : Status();
    if (fits.ok()) continue;
    platform_.Ask({std::string(fits.message()), Tr("Error"), Icon::kCritical, Buttons::kOk});
    for (std::size_t tab = 0; tab < TabStrip1.items().size(); ++tab)
      if (TabStrip1.item_data(tab) == number.page) TabStrip1.SelectItem(static_cast<int>(tab));
    TabStrip1_Click();
    number.box.SetFocus();
    return false;
  }
  return true;
}

void frmAdvanced::bntOK_Click() {
  if (RBtnUseIndex.value() && has_index_ && CBoxIndexes.text().empty()) {
    platform_.Ask(
        {Tr("You must choose an index"), Tr("Error"), Icon::kCritical, Buttons::kOkCancel});
    return;
  }
  if (EdtStartLine.text().empty()) EdtStartLine.SetText("1");
  if (!CBoxAllImport.value() && EdtNbLineMax.text().empty()) CBoxAllImport.SetValue(true);
  if (!NumbersFit()) return;
  confirmed_ = true;
  Close();
}

}  // namespace kelvorin::wizard
