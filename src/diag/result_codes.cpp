#include "diag/result_codes.h"

#include <algorithm>
#include <iterator>

namespace kestrune {
namespace {

struct ResultCodeRow {
  std::uint32_t code;
  const wchar_t* text;
};

#define RESULT_CODE(code, name, description) {code##U, L"" #name ": " description},
constexpr ResultCodeRow resultCodeRows[] = {
#include "diag/result_codes.def"
};
#undef RESULT_CODE

static_assert(std::ranges::adjacent_find(resultCodeRows, std::ranges::greater_equal(),
                                         &ResultCodeRow::code) == std::end(resultCodeRows),
              "the rows ascend by code, without doubles");

}  // namespace

const wchar_t* GetResultText(std::uint32_t code) {
  const auto* row = std::ranges::lower_bound(resultCodeRows, code, {}, &ResultCodeRow::code);
  return row != std::end(resultCodeRows) && row->code == code ? row->text : L"Unknown error";
}

}  // namespace kestrune
