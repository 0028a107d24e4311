// The messages of checks.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <variant>
#include <vector>

#include "api/exceptions.h"

namespace kelvo::Support {

// The message of the KelvoInvalidArgument that `call` throws; "" if it throws none.
template <class Call>
std::string MessageOf(Call&& call) {
  try {
    call();
  } catch (const Util::Exceptions::KelvoInvalidArgument& error) {
    return error.what();
  }
  return "";
}

// An argument with bad values, a good one, and the message for bad ones.
template <class Arguments>
struct CheckedArgument {
  std::variant<int Arguments::*, float Arguments::*> field;
  std::vector<double> bad;
  double good;
  const char* message;
};

// Starts with every argument bad: each must be reported in its order, for each of its bad values, before it is set to
// the good one.
template <class Arguments, class Check>
void ExpectChecksInOrder(Check&& check, const std::vector<CheckedArgument<Arguments>>& order) {
  Arguments arguments{};
  const auto set = [&](const CheckedArgument<Arguments>& argument, double value) {
    std::visit([&]<class T>(T Arguments::*field) { arguments.*field = static_cast<T>(value); }, argument.field);
  };
  for (const auto& argument : order) set(argument, argument.bad.front());
  for (const auto& argument : order) {
    for (const double value : argument.bad) {
      set(argument, value);
      EXPECT_EQ(MessageOf([&] { check(arguments); }), argument.message) << value;
    }
    set(argument, argument.good);
  }
  EXPECT_EQ(MessageOf([&] { check(arguments); }), "");
}

}  // namespace kelvo::Support
