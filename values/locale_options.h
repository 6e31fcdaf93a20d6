#pragma once
// What the environment's locale says about dates, numbers and money, as format options. Used by
// `ValueFormat::FromLocale` only.

#include "base/M_Misc.h"
#include "values/value_format.h"

namespace kelvorin::values {

/// The C and POSIX locales, and locales that the system does not know, give ISO dates.
FormatOptions OptionsFrom(const base::LocaleFacts& facts);

/// The same for the environment as it is now.
FormatOptions LocaleOptions();

}  // namespace kelvorin::values
