// libFuzzer target for the names of NIS map entries: ParseNisMapIndexedKey and NewMapEntryCn
// take any text without a fault.
//   - An indexed key is refused only with its two messages, "no index" exactly when the text
//     holds no ":"; what it reads is the text before the last ":", and the key with ":" and
//     the index reads again to the same key and index.
//   - The cn of an entry unescapes to the key, "_" and a number below 1000000000. For a key
//     without a NUL byte it is one RDN value: "CN=<cn>,DC=x" is a DN of two RDNs whose first
//     value is the cn as written. A NUL is not among the characters the cn escapes, so such a
//     key makes no DN and the directory refuses its entry.
#include <cstddef>
#include <cstdint>
#include <string>

#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "require.h"
#include "zones/nis_map.h"

namespace {

constexpr char kNoIndex[] = "Bad indexed key format: no index";
constexpr char kNotNumber[] = "Bad indexed key format: index is not number";
constexpr size_t kMaxNumberDigits = 9;

bool Parse(const std::string& text, std::string& key, unsigned& index) {
  try {
    index = ParseNisMapIndexedKey(text, key);
    return true;
  } catch (const kesh::BadDataException& e) {
    const std::string message = e.what();
    const bool hasColon = text.find(':') != std::string::npos;
    Require(hasColon ? message == kNotNumber : message == kNoIndex);
    return false;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);

  std::string key;
  unsigned index = 0;
  if (Parse(text, key, index)) {
    const size_t colon = text.rfind(':');
    Require(key == text.substr(0, colon));
    const std::string digits = text.substr(colon + 1);
    Require(!digits.empty() && digits.find_first_not_of("0123456789") == std::string::npos);
    std::string key2;
    unsigned index2 = 0;
    Require(Parse(key + ":" + std::to_string(index), key2, index2));
    Require(key2 == key && index2 == index);
  }

  const std::string cn = NewMapEntryCn(text);
  if (text.find('\0') == std::string::npos) {
    const std::string dn = "CN=" + cn + ",DC=x";
    Require(kesh::DN::isDN(dn));
    Require(kesh::DN::explode(dn).size() == 2);
    Require(kesh::DN::cnFromDn(dn) == cn);
  }
  const std::string plain = kesh::DN::unescapeDNString(cn);
  Require(plain.size() > text.size() + 1 && plain.compare(0, text.size(), text) == 0);
  Require(plain[text.size()] == '_');
  const std::string number = plain.substr(text.size() + 1);
  Require(number.size() <= kMaxNumberDigits &&
          number.find_first_not_of("0123456789") == std::string::npos);
  return 0;
}
