#include "control/kelvorin.h"

#include "contract/enums.h"
#include "database/drivers/register_drivers.h"
#include "database/engine.h"
#include "values/value_format.h"
#include "wizard/frm_kelvorin.h"

#include <exception>

namespace kelvorin {

using contract::Properties;

/// What forms see of the control: its property record, and its events behind an adapter that lets
/// no exception of a host's handler through.
class Kelvorin::Surface final : public contract::Caller, public contract::EventSink {
 public:
  explicit Surface(Kelvorin& control) : control_(control) {}

  Properties& properties() noexcept override { return control_.properties_; }
  contract::EventSink& events() noexcept override { return *this; }
  const std::string& connect_type_name() const noexcept override {
    return control_.connect_type_name_;
  }
  void PropertyChanged(std::string_view key) override {
    if (const contract::PropertyInfo* info = contract::FindProperty(key)) control_.Stored(*info);
  }

  bool Listens(contract::Event event) const noexcept override {
    using contract::Event;
    switch (event) {
      case Event::kBeforeFieldImport:
        return static_cast<bool>(control_.BeforeFieldImport);
      case Event::kFilterTable:
        return static_cast<bool>(control_.FilterTable);
      case Event::kFilterType:
        return static_cast<bool>(control_.FilterType);
      case Event::kFilterField:
        return static_cast<bool>(control_.FilterField);
      case Event::kValidateBeforePost:
        return static_cast<bool>(control_.ValidateBeforePost);
      case Event::kValidateAfterPost:
        return static_cast<bool>(control_.ValidateAfterPost);
    }
    return false;
  }

  void BeforeFieldImport(std::string_view table, std::string_view field, std::int16_t type,
                         std::int16_t size, std::string& bufField) override {
    Raise("BeforeFieldImport", control_.BeforeFieldImport, table, field, type, size, bufField);
  }
  void FilterTable(std::string_view table, bool& Hide) override {
    Raise("FilterTable", control_.FilterTable, table, Hide);
  }
  void FilterType(std::int16_t FileType, bool& Hide) override {
    Raise("FilterType", control_.FilterType, static_cast<contract::FileTypeFormat>(FileType), Hide);
  }
  void FilterField(std::string_view table, std::string_view field, bool& Hide) override {
    Raise("FilterField", control_.FilterField, table, field, Hide);
  }
  void ValidateBeforePost(bool& RecordCanceled, bool& ProcessCanceled) override {
    Raise("ValidateBeforePost", control_.ValidateBeforePost, RecordCanceled, ProcessCanceled);
  }
  void ValidateAfterPost(bool& ProcessCanceled) override {
    Raise("ValidateAfterPost", control_.ValidateAfterPost, ProcessCanceled);
  }
  Status Failure() const noexcept override { return failure_; }

  void ForgetFailure() noexcept { failure_ = Status(); }

 private:
  template <typename F, typename... Args>
  void Raise(const char* event, const F& handler, Args&&... args) noexcept {
    if (!handler || !failure_.ok()) return;
    const auto fail = [&](const char* what) {
      failure_ = Status(Code::kStopped,
                        "The handler of the event " + std::string(event) + " failed: " + what);
    };
    try {
      handler(std::forward<Args>(args)...);
    } catch (const std::exception& error) {
      fail(error.what());
    } catch (...) {
      fail("unknown exception");
    }
  }

  Kelvorin& control_;
  Status failure_;
};

Kelvorin::Kelvorin(contract::Platform* platform)
    : platform_(platform ? platform : &silent_), surface_(std::make_unique<Surface>(*this)) {}
Kelvorin::~Kelvorin() = default;

template <typename F>
bool Kelvorin::Safely(F&& call) noexcept {
  try {
    call();
    return true;
  } catch (const std::exception& error) {
    try {
      properties_.LastError = error.what();
    } catch (...) {
      properties_.LastError.clear();  // not even the text fits into memory
    }
  } catch (...) {
    properties_.LastError.clear();
  }
  return false;
}

// --- Properties

void Kelvorin::Stored(const contract::PropertyInfo& info) {
  if (info.key == "DefaultSourceType") DeriveConnectTypeName(properties_.DefaultSourceType);
  if (info.notifies_container && PropertyChanged) PropertyChanged(info.key);
}

template <typename T, typename V>
void Kelvorin::Store(T Properties::*member, V value) noexcept {
  Safely([&] {
    properties_.*member = value;
    for (const contract::PropertyInfo& info : contract::PropertyTable())
      if (info.member == decltype(info.member)(member)) Stored(info);
  });
}

void Kelvorin::Set(std::string Properties::*member, std::string_view value) noexcept {
  Store(member, value);
}
void Kelvorin::Set(std::int16_t Properties::*member, std::int16_t value) noexcept {
  Store(member, value);
}
void Kelvorin::Set(bool Properties::*member, bool value) noexcept {
  Store(member, value);
}

Status Kelvorin::SetPropertyText(std::string_view name, std::string_view text) noexcept {
  Status outcome(Code::kInternal, "the property could not be set");
  Safely([&] {
    const contract::PropertyInfo* info = contract::FindProperty(name);
    if (info == nullptr) {
      outcome = Status(Code::kNotFound, "there is no property '" + std::string(name) + "'");
      return;
    }
    const Result<contract::PropertyValue> value = contract::ParsePropertyText(*info, text);
    outcome = value.ok() ? contract::SetProperty(properties_, *info, *value) : value.status();
    if (outcome.ok()) Stored(*info);
  });
  return outcome;
}

// --- Persistence

Status Kelvorin::ReadProperties(contract::PropertyStore& store) noexcept {
  Status outcome(Code::kInternal, "the properties could not be read");
  Safely([&] {
    outcome = contract::LoadProperties(store, properties_);
    if (outcome.ok()) DeriveConnectTypeName(properties_.DefaultSourceType);
  });
  return outcome;
}

Status Kelvorin::WriteProperties(contract::PropertyStore& store) const noexcept {
  try {
    return contract::SaveProperties(store, properties_);
  } catch (const std::exception& error) {
    return Status(Code::kInternal, error.what());
  } catch (...) {
    return Status(Code::kInternal, "the properties could not be stored");
  }
}

void Kelvorin::Resize(int& width_twips, int& height_twips) noexcept {
  width_twips = kControlWidthTwips;
  height_twips = kControlHeightTwips;
}

// --- Methods

void Kelvorin::DeriveConnectTypeName(std::int16_t kind) {
  if (const auto name = contract::ConnectTypeName(kind)) connect_type_name_ = *name;
}

void Kelvorin::display() noexcept {
  Safely([&] {
    platform_->Ask(
        {"Display", "Property Check", contract::Icon::kExclamation, contract::Buttons::kOk});
  });
}

void Kelvorin::Execute() noexcept {
  last_run_ = contract::RunResult();
  Safely([&] {
    surface_->ForgetFailure();
    DeriveConnectTypeName(properties_.ConnectString);
    database::DBEngine engine(values::ValueFormat::FromLocale());
    database::RegisterDrivers(engine);
    wizard::frmKelvorin form(engine, *platform_);
    form.SetCaller(*surface_);
    form.Execute();
    last_run_ = form.result();
  });
}

std::int16_t Kelvorin::BatchImport(std::string& Setting) noexcept {
  std::int16_t result = -1;
  last_run_ = contract::RunResult();
  Safely([&] {
    surface_->ForgetFailure();
    DeriveConnectTypeName(properties_.ConnectString);
    database::DBEngine engine(values::ValueFormat::FromLocale());
    database::RegisterDrivers(engine);
    wizard::frmKelvorin form(engine, *platform_);
    form.SetCaller(*surface_);
    result = form.DoBatchImport(Setting);
    last_run_ = form.result();
  });
  return result;
}

}  // namespace kelvorin
