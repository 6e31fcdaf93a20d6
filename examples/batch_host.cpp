// A host program: keeps the control's properties in a container of its own, listens to all six
// events and runs a saved import setting.
//   batch_host SETTINGS.INI SETTING TEXTFILE FOLDER TABLE
#include <cstdio>
#include <map>

#include "control/kelvorin.h"

using namespace kelvorin;

struct FormStore : contract::PropertyStore {  // what a form designer would save
  std::map<std::string, contract::PropertyValue, std::less<>> values;
  Result<contract::PropertyValue> Read(std::string_view key,
                                       const contract::PropertyValue& otherwise) override {
    const auto found = values.find(key);
    return found == values.end() ? otherwise : found->second;
  }
  Status Write(std::string_view key, const contract::PropertyValue& value,
               const contract::PropertyValue& otherwise) override {
    if (value != otherwise) values.insert_or_assign(std::string(key), value);
    return Status();
  }
};

int main(int argc, char** argv) {
  if (argc != 6) return std::fputs("batch_host INI SETTING TEXTFILE FOLDER TABLE\n", stderr), 2;
  FormStore form;
  form.values = {{"IniFile", argv[1]},
                 {"ImportTable", argv[3]},
                 {"DataBaseName", argv[4]},
                 {"TableName", argv[5]},
                 {"ConnectString", std::int16_t{12}}};  // FOXPRO26

  Kelvorin control;
  if (const Status read = control.ReadProperties(form); !read.ok())
    return std::fprintf(stderr, "%s\n", read.message().data()), 3;
  control.PropertyChanged = [](std::string_view key) { std::printf("changed: %s\n", key.data()); };
  control.FilterTable = [](std::string_view, bool& hide) { hide = false; };
  control.FilterType = [](contract::FileTypeFormat, bool& hide) { hide = false; };
  control.FilterField = [](std::string_view, std::string_view field, bool& hide) {
    hide = field == "REMARKS";  // never imported by this host
  };
  control.BeforeFieldImport = [](std::string_view, std::string_view field, std::int16_t,
                                 std::int16_t, std::string& text) {
    if (field == "COUNTRY" && text == "GB") text = "UK";
  };
  int records = 0, posted = 0;
  control.ValidateBeforePost = [&](bool& skip, bool&) { skip = ++records == 3; };
  control.ValidateAfterPost = [&](bool& stop) { stop = ++posted == 6; };

  std::string setting = argv[2];
  if (control.BatchImport(setting) != 0)
    return std::fprintf(stderr, "%s\n", control.LastError().c_str()), 3;
  const contract::RunResult& run = control.LastRun();
  std::printf("imported %lld, skipped %lld\n", static_cast<long long>(run.imported),
              static_cast<long long>(run.skipped));
  return control.WriteProperties(form).ok() ? 0 : 3;
}
