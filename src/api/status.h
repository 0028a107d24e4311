// What an export returns. The public header gives callers the same four values.
#pragma once

namespace kelvo::Api {

inline constexpr int kStatusOk = 0;
inline constexpr int kStatusBadArgument = -1;
inline constexpr int kStatusOutOfMemory = -5;
inline constexpr int kStatusUnexpectedError = -128;

}  // namespace kelvo::Api
