#include "control/kelvorin.h"

#include "contract/enums.h"
#include "database/drivers/register_drivers.h"
#include "database/engine.h"
#include "job/job.h"
#include "values/value_format.h"
#include "wizard/frm_kelvorin.h"

#include <exception>
#include <memory>

namespace kelvorin {

using contract::Properties;

struct Kelvorin::Core {
  Core(Kelvorin& control, contract::Platform* given)
      : owner(&control), platform(given != nullptr ? given : &silent) {}

  Properties properties;
  std::string connect_type_name;
  contract::SilentPlatform silent;
  Kelvorin* owner;  // null once the control is gone
  contract::Platform* platform;
  contract::RunResult last_run;
  Status stop;  // why the call under way is to end

  void DeriveConnectTypeName(std::int16_t kind) {
    if (const auto name = contract::ConnectTypeName(kind)) connect_type_name = *name;
  }
  /// What follows when a property has got a value. The container's function may destroy the
  /// control.
  void Stored(const contract::PropertyInfo& info) {
    if (info.key == "DefaultSourceType") DeriveConnectTypeName(properties.DefaultSourceType);
    if (!info.notifies_container || owner == nullptr || !owner->PropertyChanged) return;
    const auto told = owner->PropertyChanged;
    told(info.key);
  }
};

/// What job and forms of one call see of the control: its property record, and its events behind an
/// adapter that lets no exception of a host's handler through. It has the handlers as they were
/// when the call began, so that one may destroy the control, or disconnect itself, while it runs.
class Kelvorin::Surface final : public contract::Caller, public contract::EventSink {
 public:
  Surface(std::shared_ptr<Core> core, const Kelvorin& control)
      : core_(std::move(core)),
        before_field_(control.BeforeFieldImport),
        filter_table_(control.FilterTable),
        filter_type_(control.FilterType),
        filter_field_(control.FilterField),
        before_post_(control.ValidateBeforePost),
        after_post_(control.ValidateAfterPost),
        help_(control.HelpRequested) {
    core_->stop = Status();
  }

  Properties& properties() noexcept override { return core_->properties; }
  contract::EventSink& events() noexcept override { return *this; }
  const std::string& connect_type_name() const noexcept override {
    return core_->connect_type_name;
  }
  void PropertyChanged(std::string_view key) override {
    const contract::PropertyInfo* info = contract::FindProperty(key);
    if (info != nullptr) Guard("PropertyChanged", [&] { core_->Stored(*info); });
  }
  bool HelpAvailable() const noexcept override {
    return core_->properties.HelpID != 0 && static_cast<bool>(help_);
  }
  void HelpRequested() override { Raise("HelpRequested", help_, core_->properties.HelpID); }

  bool Listens(contract::Event event) const noexcept override {
    using contract::Event;
    switch (event) {
      case Event::kBeforeFieldImport:
        return static_cast<bool>(before_field_);
      case Event::kFilterTable:
        return static_cast<bool>(filter_table_);
      case Event::kFilterType:
        return static_cast<bool>(filter_type_);
      case Event::kFilterField:
        return static_cast<bool>(filter_field_);
      case Event::kValidateBeforePost:
        return static_cast<bool>(before_post_);
      case Event::kValidateAfterPost:
        return static_cast<bool>(after_post_);
    }
    return false;
  }

  void BeforeFieldImport(std::string_view table, std::string_view field, std::int16_t type,
                         std::int16_t size, std::string& bufField) override {
    Raise("BeforeFieldImport", before_field_, table, field, type, size, bufField);
  }
  void FilterTable(std::string_view table, bool& Hide) override {
    Raise("FilterTable", filter_table_, table, Hide);
  }
  void FilterType(std::int16_t FileType, bool& Hide) override {
    Raise("FilterType", filter_type_, static_cast<contract::FileTypeFormat>(FileType), Hide);
  }
  void FilterField(std::string_view table, std::string_view field, bool& Hide) override {
    Raise("FilterField", filter_field_, table, field, Hide);
  }
  void ValidateBeforePost(bool& RecordCanceled, bool& ProcessCanceled) override {
    Raise("ValidateBeforePost", before_post_, RecordCanceled, ProcessCanceled);
  }
  void ValidateAfterPost(bool& ProcessCanceled) override {
    Raise("ValidateAfterPost", after_post_, ProcessCanceled);
  }
  Status Failure() const noexcept override {
    if (!failure_.ok()) return failure_;
    if (core_->owner == nullptr)
      return Status(Code::kStopped, "The control was destroyed while its import was under way");
    return core_->stop;
  }

 private:
  template <typename F>
  void Guard(const char* event, const F& call) noexcept {
    const auto fail = [&](const char* what) {
      failure_ = Status(Code::kStopped,
                        "The handler of the event " + std::string(event) + " failed: " + what);
    };
    try {
      call();
    } catch (const std::exception& error) {
      fail(error.what());
    } catch (...) {
      fail("unknown exception");
    }
  }
  template <typename F, typename... Args>
  void Raise(const char* event, const F& handler, Args&&... args) noexcept {
    if (!handler || !Failure().ok()) return;
    Guard(event, [&] { handler(std::forward<Args>(args)...); });
  }

  const std::shared_ptr<Core> core_;
  const decltype(Kelvorin::BeforeFieldImport) before_field_;
  const decltype(Kelvorin::FilterTable) filter_table_;
  const decltype(Kelvorin::FilterType) filter_type_;
  const decltype(Kelvorin::FilterField) filter_field_;
  const decltype(Kelvorin::ValidateBeforePost) before_post_;
  const decltype(Kelvorin::ValidateAfterPost) after_post_;
  const decltype(Kelvorin::HelpRequested) help_;
  Status failure_;
};

Kelvorin::Kelvorin(contract::Platform* platform) : core_(std::make_shared<Core>(*this, platform)) {}

Kelvorin::~Kelvorin() {
  core_->owner = nullptr;
}

const Properties& Kelvorin::properties() const noexcept {
  return core_->properties;
}

const contract::RunResult& Kelvorin::LastRun() const noexcept {
  return core_->last_run;
}

void Kelvorin::StopRun(std::string_view why) noexcept {
  Safely([&](Core& core) { core.stop = Status(Code::kStopped, std::string(why)); });
}

template <typename F>
void Kelvorin::Safely(F&& call) noexcept {
  const std::shared_ptr<Core> core = core_;  // the call may destroy the control
  try {
    call(*core);
  } catch (const std::exception& error) {
    try {
      core->properties.LastError = error.what();
    } catch (...) {
      core->properties.LastError.clear();  // not even the text fits into memory
    }
  } catch (...) {
    core->properties.LastError.clear();
  }
}

// --- Properties

template <typename T, typename V>
void Kelvorin::Store(T Properties::*member, V value) noexcept {
  Safely([&](Core& core) {
    core.properties.*member = value;
    for (const contract::PropertyInfo& info : contract::PropertyTable())
      if (info.member == decltype(info.member)(member)) core.Stored(info);
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
  Safely([&](Core& core) {
    const contract::PropertyInfo* info = contract::FindProperty(name);
    if (info == nullptr) {
      outcome = Status(Code::kNotFound, "there is no property '" + std::string(name) + "'");
      return;
    }
    const Result<contract::PropertyValue> value = contract::ParsePropertyText(*info, text);
    outcome = value.ok() ? contract::SetProperty(core.properties, *info, *value) : value.status();
    if (outcome.ok()) core.Stored(*info);
  });
  return outcome;
}

// --- Persistence

Status Kelvorin::ReadProperties(contract::PropertyStore& store) noexcept {
  Status outcome(Code::kInternal, "the properties could not be read");
  Safely([&](Core& core) {
    outcome = contract::LoadProperties(store, core.properties);
    if (outcome.ok()) core.DeriveConnectTypeName(core.properties.DefaultSourceType);
  });
  return outcome;
}

Status Kelvorin::WriteProperties(contract::PropertyStore& store) const noexcept {
  try {
    return contract::SaveProperties(store, core_->properties);
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

void Kelvorin::display() noexcept {
  Safely([](Core& core) {
    core.platform->Ask({base::Tr("Display"), base::Tr("Property Check"),
                        contract::Icon::kExclamation, contract::Buttons::kOk});
  });
}

template <typename Work, typename F>
void Kelvorin::With(F&& call) noexcept {
  Safely([&](Core& core) {
    core.last_run = contract::RunResult();
    Surface surface(core_, *this);
    core.DeriveConnectTypeName(core.properties.ConnectString);
    database::DBEngine engine(values::ValueFormat::FromLocale());
    database::RegisterDrivers(engine);
    Work work(engine, *core.platform);
    work.SetCaller(surface);
    call(work);
    core.last_run = work.result();
  });
}

void Kelvorin::Execute() noexcept {
  With<wizard::frmKelvorin>([](wizard::frmKelvorin& form) { form.Execute(); });
}

std::int16_t Kelvorin::BatchImport(std::string& Setting) noexcept {
  std::int16_t result = -1;
  const std::string name = Setting;  // the host's own may go with the host
  With<job::Job>([&](job::Job& job) { result = job.BatchImport(name); });
  return result;
}

}  // namespace kelvorin
