// The export frame: an exception from the body becomes a status.
#include "api/export_frame.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "api/exceptions.h"

namespace kelvo::Api {
namespace {

using Util::Exceptions::KelvoException;
using Util::Exceptions::KelvoInvalidArgument;

TEST(ExportFrame, MapsExceptionsToStatuses) {
  struct Custom : KelvoException {
    Custom() : KelvoException("text", -1) {}
    int GetStatus() const override { return -42; }
  };
  static KelvoException thrown_by_pointer("text", -9);
  const struct {
    const char* name;
    std::function<void()> body;
    int status;
  } rows[] = {
      {"nothing", [] {}, 0},
      {"bad_alloc", [] { throw std::bad_alloc(); }, -5},
      {"bad_array_new_length", [] { throw std::bad_array_new_length(); }, -5},
      {"invalid argument", [] { throw KelvoInvalidArgument("text"); }, -1},
      {"own root", [] { throw KelvoException("text", -7); }, -7},
      {"status of a derived class", [] { throw Custom(); }, -42},
      {"pointer", [] { throw &thrown_by_pointer; }, -9},
      {"length_error", [] { throw std::length_error("vector too long"); }, -128},
      {"plain invalid_argument", [] { throw std::invalid_argument("text"); }, -128},
      {"system_error", [] { throw std::system_error(std::make_error_code(std::errc::no_lock_available)); }, -128},
      {"int", [] { throw 1; }, -128},
      {"impossible vector", [] { std::vector<float>(static_cast<std::size_t>(-1)); }, -128},
  };
  for (const auto& row : rows) EXPECT_EQ(RunExport({&rows}, row.body), row.status) << row.name;
  EXPECT_STREQ(thrown_by_pointer.GetErrorMessage(), "text");
}

}  // namespace
}  // namespace kelvo::Api
