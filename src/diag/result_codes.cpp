#include "diag/result_codes.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>
#include <string_view>

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

constexpr std::ptrdiff_t CountNamed(std::wstring_view prefix) {
  return std::ranges::count_if(resultCodeRows, [=](const ResultCodeRow& row) {
    return std::wstring_view(row.text).starts_with(prefix);
  });
}

static_assert(std::size(resultCodeRows) == 1400);
static_assert(CountNamed(L"ZV_NOERROR") == 1 && CountNamed(L"ZV_FALSE") == 1);
static_assert(CountNamed(L"ZV_E_") == 783);
static_assert(CountNamed(L"ZV_W_") == 158);
static_assert(CountNamed(L"ZV_M_") == 55);
static_assert(CountNamed(L"kZvkStatus") == 332);
static_assert(CountNamed(L"kZvSynchroStatus") == 22);
static_assert(CountNamed(L"kZvkLumoCodec") == 48);
static_assert(std::ranges::adjacent_find(resultCodeRows, std::ranges::greater_equal(),
                                         &ResultCodeRow::code) == std::end(resultCodeRows),
              "the rows ascend by code, without doubles");

}  // namespace

const wchar_t* GetResultText(std::uint32_t code) {
  const auto* row = std::ranges::lower_bound(resultCodeRows, code, {}, &ResultCodeRow::code);
  return row != std::end(resultCodeRows) && row->code == code ? row->text : L"Unknown error";
}

}  // namespace kestrune
