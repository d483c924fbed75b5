#include "substitute/api/CallInterceptor.h"

#include <stdexcept>

namespace substitute {

void CallInterceptor::throwFault(Operation operation) {
  throw std::runtime_error("the host failed in " + nameOf(operation));
}

}  // namespace substitute
