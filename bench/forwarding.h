// The library's exports, defined by the program itself and forwarded to a library that it has loaded, so that rows,
// which call nothing but exports, run on either of two builds in the same process.
#pragma once

namespace kelvo::Bench {

// The calls that follow go to this library, a handle of dlopen.
void ForwardTo(void* library);

}  // namespace kelvo::Bench
