#pragma once

#include <cstdint>

#include "platform/com.h"

namespace kestrune {

#define RESULT_CODE(code, name, description) inline constexpr HRESULT name = static_cast<HRESULT>(code##U);
#include "diag/result_codes.def"
#undef RESULT_CODE

/// The text of a result code (the bit pattern of an HRESULT): its name, ": " and a sentence; "Unknown error"
/// for a code without a row. The text lives for the whole process; never null.
const wchar_t* GetResultText(std::uint32_t code);

}  // namespace kestrune
