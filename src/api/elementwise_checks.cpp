// The checks of the element-wise exports, in their order.
#include "api/elementwise_checks.h"

#include "api/checks.h"

namespace kelvo::Api {

void CheckElementwise(int src_n) { CheckSourceSize(src_n); }

}  // namespace kelvo::Api
