// Shredder: a string for a password. Its characters are overwritten with zeros when it is
// destroyed or wiped, so a password does not linger in freed memory.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_SHREDDER_H_
#define ZONESMITH_DIRECTORY_LIBRARY_SHREDDER_H_

#include <string>

class Shredder : public std::string {
 public:
  Shredder() = default;
  Shredder(const char* text) : std::string(text ? text : "") {}  // NOLINT: implicit on purpose
  Shredder(const std::string& text) : std::string(text) {}       // NOLINT
  Shredder(const Shredder& other) = default;
  Shredder& operator=(const Shredder& other) {
    if (this != &other) {
      wipe();
      std::string::operator=(other);
    }
    return *this;
  }
  ~Shredder() { wipe(); }

  // Sets every character to 0, then empties the string.
  void wipe() {
    volatile char* p = &(*this)[0];
    for (size_t i = 0; i < size(); ++i) p[i] = 0;
    clear();
  }
};

// The same for a plain string that held a password.
inline void WipeString(std::string& text) {
  volatile char* p = &text[0];
  for (size_t i = 0; i < text.size(); ++i) p[i] = 0;
  text.clear();
}

#endif  // ZONESMITH_DIRECTORY_LIBRARY_SHREDDER_H_
