// Byte strings for tests, written as lists of byte values.
#ifndef ZONESMITH_TESTS_UNIT_DIRECTORY_LIBRARY_TEST_BYTES_H_
#define ZONESMITH_TESTS_UNIT_DIRECTORY_LIBRARY_TEST_BYTES_H_

#include <initializer_list>
#include <string>

// Bytes({0x01, 0x05}) is the two-byte string "\x01\x05".
inline std::string Bytes(std::initializer_list<int> values) {
  std::string out;
  for (int v : values) out += static_cast<char>(v);
  return out;
}

#endif  // ZONESMITH_TESTS_UNIT_DIRECTORY_LIBRARY_TEST_BYTES_H_
