// String helpers of the directory library. All of them work on bytes: "lower case" and
// "white space" are ASCII notions, other bytes pass through unchanged.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_STRINGS_H_
#define ZONESMITH_DIRECTORY_LIBRARY_STRINGS_H_

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <vector>

namespace kesh {

std::string lower(const std::string& text);
std::string upper(const std::string& text);
// The text without leading and trailing blanks, tabs, line ends, form feeds and vertical
// tabs. A text of blanks gives an empty string.
std::string trimWhiteSpace(const std::string& text);

// Replaces `list` by the pieces of `text` between any of the characters of `separators`;
// empty pieces are kept ("a,,b" gives "a", "", "b"). An empty text gives no pieces.
void split(const std::string& text, const std::string& separators, std::vector<std::string>& list);
void split(const std::string& text, const std::string& separators, std::list<std::string>& list);
// Replaces `list` by the pieces of `text` between occurrences of `separator`; empty
// pieces are kept, so "A;;GA" gives "A", "", "GA". An empty text gives no pieces.
void StringSplit(char separator, const std::string& text, std::vector<std::string>& list);
// Replaces `list` by the non-empty pieces of `text` between any of the characters of
// `separators`: "(A;;GA;;;WD)(A;;GR;;;AU)" cracked at "()" gives the two ACE texts.
void CrackString(const std::string& text, const std::string& separators,
                 std::vector<std::string>& list);
// The text without `suffix` when it ends with it, else the text unchanged.
std::string StripSuffix(const std::string& text, const std::string& suffix);
// Whether `text` begins with `prefix`; with `ignoreCase` compared as ASCII without case,
// with `trim` after dropping the leading white space of `text`. An empty prefix matches.
bool startsWith(const std::string& text, const std::string& prefix, bool ignoreCase = false,
                bool trim = false);
// Whether `text` ends with `suffix`; `ignoreCase` as above, `trim` drops trailing white space.
bool endsWith(const std::string& text, const std::string& suffix, bool ignoreCase = false,
              bool trim = false);
// The text with every byte outside the printable ASCII range (0x20..0x7e) written as
// "\xNN" (lower-case hex) and every backslash doubled: safe for a log or an error text.
std::string printable(const std::string& text);

// printf into a string of any length.
std::string VS(const char* format, ...);

// `value` in `base` (2 to 36, lower-case digits), with a "-" when negative. Another base
// gives an empty string.
std::string itoa(long long value, int base = 10);
std::string uitoa(unsigned long long value, int base = 10);
// The decimal number at the start of `text` after leading white space; reading stops at
// the first byte that is no digit ("12ab" gives 12). No digits (also a sign) gives 0;
// a value above 4294967295 gives 4294967295.
unsigned atoui(const std::string& text);
bool IsDigitChar(char c);

// The time as local time "YYYY-MM-DD HH:MM:SS"; an empty string for a null pointer.
std::string strtime(const long* t);

// The value of one hex digit (either case), or -1 for any other character.
int HexDigitValue(char c);
// The hex digit of the low four bits of `nibble`.
char HexDigit(unsigned nibble, bool upperCase);

// `length` bytes as 2 * `length` hex digits, upper-case when `upperCase`.
// REQUIRES: `bytes` points at `length` bytes.
std::string Uint8ArrayToHex(const uint8_t* bytes, size_t length, bool upperCase);
// The same for a string of bytes; missing bytes (a shorter or empty string) count as 0,
// so an empty time box gives 2 * `length` zeros.
std::string Uint8ArrayToHex(const std::string& bytes, size_t length, bool upperCase);
// Reads hex digits (either case) into `bytes`. The text must hold exactly 2 * `length`
// digits; with `allowShort` an even, shorter count is also taken and the remaining bytes
// are set to 0. Answers false, leaving `bytes` untouched, on anything else.
bool HexToUint8Array(const std::string& text, uint8_t* bytes, size_t length,
                     bool allowShort = false);

}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_STRINGS_H_
