// MessageOf<E>: the message of the exception E that a piece of test code throws.
#ifndef ZONESMITH_TESTS_UNIT_MESSAGE_OF_H_
#define ZONESMITH_TESTS_UNIT_MESSAGE_OF_H_

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace testutil {

// The message of the exception E that `f` throws; fails the test when it throws none.
template <class E>
std::string MessageOf(const std::function<void()>& f) {
  try {
    f();
  } catch (const E& e) {
    return e.what();
  }
  ADD_FAILURE() << "no exception";
  return "";
}

}  // namespace testutil

#endif  // ZONESMITH_TESTS_UNIT_MESSAGE_OF_H_
