// The library's exports, defined by the program itself and forwarded to a library that it has loaded: rows, which call
// nothing but exports, then run on one build after the other in the same process.
#pragma once

namespace kelvo::Bench {

// The calls that follow go to this library, a handle of dlopen.
void ForwardTo(void* library);

}  // namespace kelvo::Bench
