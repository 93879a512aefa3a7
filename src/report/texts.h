#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kestrune::report {

// Values as the report's readers see them, in UTF-8. Blanks inside a value don't break a line; minus is
// U+2212.

/// "5 183 940": thousands apart.
std::string GroupedText(std::int64_t value);

/// A time in nanoseconds with the unit that suits it: "−2 231 ns", "318.4 ms", "37 s". Whole nanoseconds
/// below 100 µs.
std::string NanosecondsText(double nanoseconds);

/// As NanosecondsText, below 1 µs with a tenth of a nanosecond.
std::string TenthsText(double nanoseconds);

/// Its two largest units: "7 min 4 s", "26 h 3 min", "3 d 4 h".
std::string DurationText(std::int64_t seconds);

/// A share of 0 to 1 in percent. Neither "0 %" nor "100 %" unless it is.
std::string PercentText(double share);

// Instants, in UTC; years 0 to 9999, all else is shown as its number of seconds.

std::string TimeText(std::int64_t epoch);   ///< "2026-03-02 07:25:21"
std::string ClockText(std::int64_t epoch);  ///< "07:25:21"
std::string DateText(std::int64_t epoch);   ///< "2026-03-02"
std::string DayText(std::int64_t epoch);    ///< "Mon 2 Mar 2026"
std::string IsoText(std::int64_t epoch);    ///< "2026-03-02T07:25:21Z"

/// "08-00-11-ff-fe-21-00-01"; "none" for 0.
std::string IdentityText(std::uint64_t clockIdentity);

/// The end of an identity, "…21-00-01"; "none" for 0.
std::string ShortIdentityText(std::uint64_t clockIdentity);

/// "10.20.59.1" of an IPv4 address whose first octet is the highest.
std::string AddressText(std::uint32_t address);

/// Of IEEE 1588's timeSource: "GNSS", "internal oscillator"; "0x77" for a code without a name.
std::string TimeSourceText(std::uint32_t timeSource);

/// Of a PTP port state's code; "no telemetry" for 0, "invalid" for one without a text.
std::string PortStateText(std::int32_t state);

/// "SFP A", "SFP B"; "both SFPs" for all else.
std::string SfpText(int sfp);

/// "1 change", "3 changes".
std::string CountText(std::int64_t count, std::string_view one, std::string_view many);

/// Text from a file as what a JSON or HTML document may hold: what isn't UTF-8, and control characters,
/// become U+FFFD.
std::string CleanText(std::string_view text);

/// For a console of any code page: ASCII in place of the signs above, "?" for every other.
std::string AsciiText(std::string_view text);

}  // namespace kestrune::report
