#pragma once

#include <string_view>

namespace kestrune::report {

/// The report page's parts, joined from this folder when the program is built; UTF-8, alive as long as the
/// program.
extern const std::string_view pageTemplate;    ///< mustache
extern const std::string_view pageStyle;       ///< CSS
extern const std::string_view pageScript;      ///< one JavaScript module
extern const std::string_view pageScriptHash;  ///< of `pageScript`, as a Content-Security-Policy names it

}  // namespace kestrune::report
