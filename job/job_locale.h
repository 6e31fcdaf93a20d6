#pragma once
// The code pages and the ways of writing values that one job brings along. In force while an object
// lives, so that a job leaves no trace in its process.

#include "base/code_page.h"
#include "base/status.h"
#include "database/engine.h"
#include "settings/import_setting.h"
#include "values/value_format.h"

namespace kelvorin::job {

class JobLocale {
 public:
  explicit JobLocale(database::DBEngine& engine);
  ~JobLocale();
  JobLocale(const JobLocale&) = delete;
  JobLocale& operator=(const JobLocale&) = delete;

  /// Puts a setting's conventions in force; what it leaves open is as it was before. To be called
  /// before a database is opened, since drivers look at the code page then. Fails with
  /// `kNotSupported` or `kInvalidArgument` naming what is unknown.
  Status Apply(const settings::ImportSetting& setting);

 private:
  database::DBEngine& engine_;
  values::ValueFormat format_;
  int ansi_page_;
  int oem_page_;
};

}  // namespace kelvorin::job
