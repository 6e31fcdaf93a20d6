#pragma once
// The characters that HTML names. Used by the cutting of HTML rows.

#include <string_view>

namespace kelvorin::textsource {

/// The character of an entity's name ("amp", "ouml"), case as it is; 0 for an unknown one.
char32_t FindHtmlEntity(std::string_view name) noexcept;

}  // namespace kelvorin::textsource
