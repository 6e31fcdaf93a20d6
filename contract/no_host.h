#pragma once
// Stands where a control would be when there is none: properties with nobody to tell, events that
// nobody acts on. For the command line, benchmarks and tests.

#include <string>
#include <string_view>

#include "contract/platform.h"

namespace kelvorin::contract {

class NoHost final : public Caller, public EventSink {
 public:
  /// With `listens` every event is raised, to handlers that do nothing.
  explicit NoHost(bool listens = false) noexcept : listens_(listens) {}

  Properties& properties() noexcept override { return properties_; }
  EventSink& events() noexcept override { return *this; }
  const std::string& connect_type_name() const noexcept override { return connect_type_name_; }
  void PropertyChanged(std::string_view) override {}
  bool Listens(Event) const noexcept override { return listens_; }
  void BeforeFieldImport(std::string_view, std::string_view, std::int16_t, std::int16_t,
                         std::string&) override {}
  void FilterTable(std::string_view, bool&) override {}
  void FilterType(std::int16_t, bool&) override {}
  void FilterField(std::string_view, std::string_view, bool&) override {}
  void ValidateBeforePost(bool&, bool&) override {}
  void ValidateAfterPost(bool&) override {}

 private:
  bool listens_;
  Properties properties_;
  std::string connect_type_name_;
};

}  // namespace kelvorin::contract
