// The messages and statuses of the library's exceptions.
#include "api/exceptions.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace kelvo::Util::Exceptions {
namespace {

TEST(Exceptions, ReturnTheMessageWithoutALayer) {
  const KelvoInvalidArgument error("Invalid fft_n size.");
  EXPECT_STREQ(error.what(), "Invalid fft_n size.");
  EXPECT_STREQ(error.GetErrorMessage(), "Invalid fft_n size.");
  EXPECT_STREQ(error.GetDetail(), "");
  EXPECT_EQ(error.GetLayerName(), "");
  EXPECT_EQ(error.GetStatus(), -1);
}

TEST(Exceptions, KeepTheInnermostLayerName) {
  KelvoInvalidArgument error("Invalid src_n size.");
  error.SetLayerName("Conv", "c1");
  error.SetLayerName("Dense", "d2");
  EXPECT_EQ(error.GetLayerName(), "Conv(c1)");
  EXPECT_STREQ(error.what(), "Layer:Conv(c1) Error:Invalid src_n size.");
  const KelvoInvalidArgument copy = error;
  EXPECT_STREQ(copy.GetErrorMessage(), "Layer:Conv(c1) Error:Invalid src_n size.");
}

// Only KelvoInvalidArgument has a fixed status.
TEST(Exceptions, BaseClassTakesAnyStatus) {
  const KelvoException error("text", -77);
  EXPECT_EQ(error.GetStatus(), -77);
  EXPECT_STREQ(error.GetDetail(), "");
  EXPECT_FALSE((std::is_base_of_v<std::exception, KelvoException>));
}

template <class... Base>
constexpr bool kIsCaughtAs = (std::is_convertible_v<KelvoInvalidArgument*, Base*> && ...);
static_assert(kIsCaughtAs<KelvoInvalidArgumentExceptionBase, std::invalid_argument, std::logic_error, std::exception,
                          KelvoException>);

}  // namespace
}  // namespace kelvo::Util::Exceptions
