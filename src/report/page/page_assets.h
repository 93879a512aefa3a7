#pragma once

#include <string_view>

namespace kestrune::report {

// The pages' parts, joined from this folder when the program is built; UTF-8, alive as long as the program.

// Of the report's page.
extern const std::string_view pageTemplate;    ///< mustache
extern const std::string_view pageStyle;       ///< CSS
extern const std::string_view pageScript;      ///< one JavaScript module
extern const std::string_view pageScriptHash;  ///< of `pageScript`, as a Content-Security-Policy names it

// Of the plant's page.
extern const std::string_view fleetTemplate;
extern const std::string_view fleetStyle;
extern const std::string_view fleetScript;
extern const std::string_view fleetScriptHash;

}  // namespace kestrune::report
