// The arguments of the element-wise exports.
#pragma once

namespace kelvo::Api {

void CheckElementwise(int src_n);

}  // namespace kelvo::Api
