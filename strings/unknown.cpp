#include "strings/unknown.h"

namespace orvik {

IUnknown* AtlComPtrAssign(IUnknown** slot, IUnknown* object) {
  if (slot == nullptr) return nullptr;
  if (object != nullptr) object->AddRef();
  IUnknown* old = *slot;
  *slot = object;
  if (old != nullptr) old->Release();
  return object;
}

IUnknown* AtlComQIPtrAssign(IUnknown** slot, IUnknown* object, const _GUID& interface_id) {
  if (slot == nullptr) return nullptr;
  IUnknown* old = *slot;
  *slot = nullptr;
  // A failing query may leave anything in its result.
  void* found = nullptr;
  if (object != nullptr && object->QueryInterface(interface_id, &found) >= 0) {
    *slot = static_cast<IUnknown*>(found);
  }
  if (old != nullptr) old->Release();
  return *slot;
}

}  // namespace orvik
