#include "files/trace.h"

namespace orvik {

void* AfxGetStaticModuleState() {
  return nullptr;
}

}  // namespace orvik
