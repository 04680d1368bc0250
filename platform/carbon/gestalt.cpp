#include "platform/carbon/gestalt.h"

namespace orvik {

namespace {

constexpr SInt32 kOfferedSystemVersion = 0x1049;
constexpr OSErr kParameterError = -50;

}  // namespace

OSErr Gestalt(OSType selector, SInt32* response) {
  if (response == nullptr) return kParameterError;
  if (selector != gestaltSystemVersion) return gestaltUndefSelectorErr;
  *response = kOfferedSystemVersion;
  return 0;
}

}  // namespace orvik
