#pragma once

#include <initializer_list>
#include <kainjow/mustache.hpp>
#include <string>
#include <utility>

#include "report/texts.h"

namespace kestrune::report {

// What a page's template shows.

using PageField = kainjow::mustache::data;

inline PageField PageList() { return PageField(PageField::type::list); }

/// An object of texts. An empty one is false, so that a section of its name is left out.
inline PageField PageFields(std::initializer_list<std::pair<const char*, std::string>> fields) {
  PageField object(PageField::type::object);
  for (const auto& [name, text] : fields)
    object.set(name, text.empty() ? PageField(false) : PageField(CleanText(text)));
  return object;
}

}  // namespace kestrune::report
