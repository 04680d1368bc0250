// The functions of ICU that the libraries call, under their own names in the namespace `icu`:
// icu::u_charType(c).
//
// Each function is looked up by name when it is first called, so that a program starts without ICU,
// whose loading takes longer than most commands. Later calls go through a pointer. Several threads
// may make the first call at once. A program that cannot load ICU ends with status 127 and a
// message. A program without shared libraries links ICU instead (linked_icu.cpp).
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

// The functions that the libraries call, by the library of ICU to which they belong.
#define ORVIK_ICU_FUNCTIONS(COMMON, INTERNATIONAL) \
  COMMON(UCNV_FROM_U_CALLBACK_STOP)                \
  COMMON(UCNV_TO_U_CALLBACK_STOP)                  \
  COMMON(u_charDirection)                          \
  COMMON(u_charType)                               \
  COMMON(u_getCombiningClass)                      \
  COMMON(u_getIntPropertyValue)                    \
  COMMON(u_strFoldCase)                            \
  COMMON(u_strToLower)                             \
  COMMON(u_strToUpper)                             \
  COMMON(ucnv_cbFromUWriteUChars)                  \
  COMMON(ucnv_close)                               \
  COMMON(ucnv_convertEx)                           \
  COMMON(ucnv_fromUnicode)                         \
  COMMON(ucnv_getMaxCharSize)                      \
  COMMON(ucnv_open)                                \
  COMMON(ucnv_resetFromUnicode)                    \
  COMMON(ucnv_resetToUnicode)                      \
  COMMON(ucnv_setFromUCallBack)                    \
  COMMON(ucnv_setToUCallBack)                      \
  COMMON(ucnv_toUnicode)                           \
  COMMON(unorm2_composePair)                       \
  COMMON(unorm2_getNFCInstance)                    \
  COMMON(unorm2_getNFKDInstance)                   \
  COMMON(unorm2_getRawDecomposition)               \
  COMMON(unorm2_normalize)                         \
  COMMON(uset_add)                                 \
  COMMON(uset_charAt)                              \
  COMMON(uset_close)                               \
  COMMON(uset_freeze)                              \
  COMMON(uset_getItem)                             \
  COMMON(uset_getItemCount)                        \
  COMMON(uset_openEmpty)                           \
  COMMON(uset_openPattern)                         \
  COMMON(uset_size)                                \
  COMMON(uset_span)                                \
  INTERNATIONAL(ucol_clone)                        \
  INTERNATIONAL(ucol_close)                        \
  INTERNATIONAL(ucol_getAttribute)                 \
  INTERNATIONAL(ucol_getContractionsAndExpansions) \
  INTERNATIONAL(ucol_open)                         \
  INTERNATIONAL(ucol_setAttribute)                 \
  INTERNATIONAL(ucol_setStrength)                  \
  INTERNATIONAL(ucol_strcoll)                      \
  INTERNATIONAL(udat_applyPattern)                 \
  INTERNATIONAL(udat_close)                        \
  INTERNATIONAL(udat_format)                       \
  INTERNATIONAL(udat_open)

// ICU's headers define the functions as macros that add the version to each name.
#define ORVIK_TEXT_OF_EXPANDED(name) #name
#define ORVIK_TEXT_OF(name) ORVIK_TEXT_OF_EXPANDED(name)
#define ORVIK_LATE(library, function)                                         \
  inline constinit const LateFunction<decltype(::function)> function(library, \
                                                                     ORVIK_TEXT_OF(function));
#define ORVIK_COMMON(function) ORVIK_LATE(IcuLibrary::kCommon, function)
#define ORVIK_INTERNATIONAL(function) ORVIK_LATE(IcuLibrary::kInternational, function)
ORVIK_ICU_FUNCTIONS(ORVIK_COMMON, ORVIK_INTERNATIONAL)

// Closes a converter for its std::unique_ptr.
struct CloseConverter {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, CloseConverter>;

#undef ORVIK_INTERNATIONAL
#undef ORVIK_COMMON
#undef ORVIK_LATE

}  // namespace orvik::icu
