// libFuzzer target for the names and texts that authorization commands take from outside:
// time boxes, right and role names, and environment strings. Every reader takes any text
// without a fault, refuses with its own messages only, and accepts exactly what its rule
// allows:
//   - ParseTimebox accepts 42 hex digits and nothing else; TimeboxText gives the digits
//     back in lower case;
//   - CheckNGRoleRightName accepts non-empty names of letters, digits, blank, '-' and '_';
//   - CheckClassicRoleRightName accepts non-empty names up to the limit without one of the
//     forbidden characters;
//   - CheckEnvString accepts texts without "=".
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string>

#include "authorization/right.h"
#include "authorization/role.h"
#include "directory/library/exceptions.h"
#include "directory/library/strings.h"
#include "require.h"

namespace {

const char kEmpty[] = "name cannot be empty or contains spaces only.";
const char kForbidden[] = "\\/:*?\"<>|[]\t+=,;#";

// Runs `check` and returns "" when it passes, else the message of its refusal.
template <typename F>
std::string Refusal(F check) {
  try {
    check();
    return "";
  } catch (const kesh::BadDataException& e) {
    std::string message = e.what();
    Require(!message.empty());
    return message;
  }
}

bool AllOf(const std::string& text, int (*test)(int)) {
  for (unsigned char c : text) {
    if (!test(c)) return false;
  }
  return true;
}

int IsNameCharacter(int c) { return std::isalnum(c) || c == ' ' || c == '-' || c == '_'; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);

  std::string timebox;
  const std::string timeboxRefusal = Refusal([&] { timebox = ParseTimebox(text); });
  const bool hex42 = text.size() == 2 * TIMEBOX_BYTES && AllOf(text, isxdigit);
  Require(timeboxRefusal.empty() == hex42);
  if (hex42) {
    Require(timebox.size() == TIMEBOX_BYTES);
    Require(TimeboxText(timebox) == kesh::lower(text));
  } else {
    Require(timeboxRefusal == "Timebox must be exactly 42 hex characters (21 bytes)");
  }

  const std::string ng = Refusal([&] { CheckNGRoleRightName(text); });
  if (text.empty()) {
    Require(ng == kEmpty);
  } else {
    Require(ng.empty() == AllOf(text, IsNameCharacter));
    if (!ng.empty()) Require(ng == "Only alphanumeric, space, '_' and '-' is valid in the name");
  }

  for (size_t limit : {CLASSIC_COMMAND_NAME_LIMIT, CLASSIC_RS_COMMAND_NAME_LIMIT,
                       CLASSIC_RS_ENV_NAME_LIMIT, CLASSIC_ROLE_NAME_LIMIT}) {
    const std::string classic = Refusal([&] { CheckClassicRoleRightName(text, limit); });
    const bool tooLong = text.size() > limit;
    const bool forbidden = text.find_first_of(kForbidden) != std::string::npos;
    if (text.empty()) {
      Require(classic == kEmpty);
    } else if (!tooLong && !forbidden) {
      Require(classic.empty());
    } else {
      const std::string lengthMessage =
          "Length of the name cannot be greater than " + std::to_string(limit);
      Require(
          (tooLong && classic == lengthMessage) ||
          (forbidden && classic.rfind("These characters are not allowed in the name: ", 0) == 0));
    }
  }

  const std::string env = Refusal([&] { CheckEnvString(text); });
  Require(env.empty() == (text.find('=') == std::string::npos));
  return 0;
}
