#include "streams/finishable_stream.h"

namespace orvik {

HRESULT FinishStream(IStream* stream) {
  if (stream == nullptr) return E_INVALIDARG;
  auto* const finishable = dynamic_cast<IFinishableStream*>(stream);
  return finishable == nullptr ? S_OK : finishable->Finish();
}

WriteRoom* RoomOfStream(IStream* stream) {
  auto* const finishable = dynamic_cast<IFinishableStream*>(stream);
  return finishable == nullptr ? nullptr : finishable->room();
}

}  // namespace orvik
