#include "programs/vexathumb-web/problem.h"

namespace vexathumb::web {

Problem NotFound() { return {404, "There is nothing at this address."}; }

}  // namespace vexathumb::web
