// The functions of ICU that the libraries call, under their own names in the namespace `icu`:
// icu::u_charType(c).
//
// Each function is looked up by name when it is first called, so that a program starts without ICU,
// whose loading takes longer than most commands. Later calls go through a pointer. Several threads
// may make the first call at once. A program that cannot load ICU ends with status 127 and a
// message.
//
// Only the C interface of ICU can be found in this way. All calls of ICU go through this header;
// tests/integration/unicode_library_test.sh checks that.
#pragma once

#include <unicode/uchar.h>
#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>
#include <unicode/ucol.h>
#include <unicode/udat.h>
#include <unicode/unorm2.h>
#include <unicode/uset.h>
#include <unicode/ustring.h>

#include <atomic>
#include <memory>

namespace [[gnu::visibility("default")]] orvik {

enum class IcuLibrary { kCommon, kInternational };

// Returns the function `name`, whose suffix is the version of ICU. Loads the library with the first
// call. Ends the process (status 127, a message on standard error) when the library or the function
// does not exist. Several threads may call it at once.
void* FindIcuFunction(IcuLibrary library, const char* name);

}  // namespace orvik

namespace orvik::icu {

// A function of ICU with the usual call syntax. Its name must live as long as the program. A call
// costs one memory load more than a direct call.
template <typename Function>
class LateFunction;

template <typename Result, typename... Parameters>
class LateFunction<Result(Parameters...)> {
 public:
  using Pointer = Result (*)(Parameters...);

  constexpr LateFunction(IcuLibrary library, const char* name) : library_(library), name_(name) {}

  Result operator()(Parameters... arguments) const { return Get()(arguments...); }

  // The address of the function, for the callback parameters of ICU.
  Pointer Get() const {
    const Pointer known = pointer_.load(std::memory_order_acquire);
    return known != nullptr ? known : Find();
  }

 private:
  Pointer Find() const {
    const auto found = reinterpret_cast<Pointer>(FindIcuFunction(library_, name_));
    pointer_.store(found, std::memory_order_release);
    return found;
  }

  mutable std::atomic<Pointer> pointer_ = nullptr;
  IcuLibrary library_;
  const char* name_;
};

// ICU's headers define the functions as macros that add the version to each name.
#define ORVIK_TEXT_OF_EXPANDED(name) #name
#define ORVIK_TEXT_OF(name) ORVIK_TEXT_OF_EXPANDED(name)
#define ORVIK_LATE(library, function)                                         \
  inline constinit const LateFunction<decltype(::function)> function(library, \
                                                                     ORVIK_TEXT_OF(function))
#define ORVIK_COMMON(function) ORVIK_LATE(IcuLibrary::kCommon, function)
#define ORVIK_INTERNATIONAL(function) ORVIK_LATE(IcuLibrary::kInternational, function)

ORVIK_COMMON(UCNV_FROM_U_CALLBACK_STOP);
ORVIK_COMMON(UCNV_TO_U_CALLBACK_STOP);
ORVIK_COMMON(u_charDirection);
ORVIK_COMMON(u_charType);
ORVIK_COMMON(u_getCombiningClass);
ORVIK_COMMON(u_getIntPropertyValue);
ORVIK_COMMON(u_strFoldCase);
ORVIK_COMMON(u_strToLower);
ORVIK_COMMON(u_strToUpper);
ORVIK_COMMON(ucnv_cbFromUWriteUChars);
ORVIK_COMMON(ucnv_close);
ORVIK_COMMON(ucnv_convertEx);
ORVIK_COMMON(ucnv_fromUnicode);
ORVIK_COMMON(ucnv_getMaxCharSize);
ORVIK_COMMON(ucnv_open);
ORVIK_COMMON(ucnv_resetFromUnicode);
ORVIK_COMMON(ucnv_resetToUnicode);
ORVIK_COMMON(ucnv_setFromUCallBack);
ORVIK_COMMON(ucnv_setToUCallBack);
ORVIK_COMMON(ucnv_toUnicode);
ORVIK_COMMON(unorm2_composePair);
ORVIK_COMMON(unorm2_getNFCInstance);
ORVIK_COMMON(unorm2_getNFKDInstance);
ORVIK_COMMON(unorm2_getRawDecomposition);
ORVIK_COMMON(unorm2_normalize);
ORVIK_COMMON(uset_add);
ORVIK_COMMON(uset_charAt);
ORVIK_COMMON(uset_close);
ORVIK_COMMON(uset_freeze);
ORVIK_COMMON(uset_getItem);
ORVIK_COMMON(uset_getItemCount);
ORVIK_COMMON(uset_openEmpty);
ORVIK_COMMON(uset_openPattern);
ORVIK_COMMON(uset_size);
ORVIK_COMMON(uset_span);
ORVIK_INTERNATIONAL(ucol_clone);
ORVIK_INTERNATIONAL(ucol_close);
ORVIK_INTERNATIONAL(ucol_getAttribute);
ORVIK_INTERNATIONAL(ucol_getContractionsAndExpansions);
ORVIK_INTERNATIONAL(ucol_open);
ORVIK_INTERNATIONAL(ucol_setAttribute);
ORVIK_INTERNATIONAL(ucol_setStrength);
ORVIK_INTERNATIONAL(ucol_strcoll);
ORVIK_INTERNATIONAL(udat_applyPattern);
ORVIK_INTERNATIONAL(udat_close);
ORVIK_INTERNATIONAL(udat_format);
ORVIK_INTERNATIONAL(udat_open);

// Closes a converter for its std::unique_ptr.
struct CloseConverter {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, CloseConverter>;

#undef ORVIK_INTERNATIONAL
#undef ORVIK_COMMON
#undef ORVIK_LATE
#undef ORVIK_TEXT_OF
#undef ORVIK_TEXT_OF_EXPANDED

}  // namespace orvik::icu
