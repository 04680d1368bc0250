// The Windows-style scalar types and result codes that every layer above shares.
#pragma once

#include <cstdint>

// Headers of other libraries define macros of these names: ncurses and glib define TRUE and FALSE,
// headers that imitate Windows the rest. They may be included before this header or after it. Where
// such a macro is in force, write the name without "orvik::".
#pragma push_macro("BOOL")
#undef BOOL
#pragma push_macro("TRUE")
#undef TRUE
#pragma push_macro("FALSE")
#undef FALSE
#pragma push_macro("INVALID_HANDLE_VALUE")
#undef INVALID_HANDLE_VALUE
#pragma push_macro("MAX_PATH")
#undef MAX_PATH
#pragma push_macro("S_OK")
#undef S_OK
#pragma push_macro("S_FALSE")
#undef S_FALSE
#pragma push_macro("E_NOTIMPL")
#undef E_NOTIMPL
#pragma push_macro("E_NOINTERFACE")
#undef E_NOINTERFACE
#pragma push_macro("E_POINTER")
#undef E_POINTER
#pragma push_macro("E_ABORT")
#undef E_ABORT
#pragma push_macro("E_FAIL")
#undef E_FAIL
#pragma push_macro("STG_E_INVALIDFUNCTION")
#undef STG_E_INVALIDFUNCTION
#pragma push_macro("E_INVALIDARG")
#undef E_INVALIDARG
#pragma push_macro("E_UNEXPECTED")
#undef E_UNEXPECTED

namespace [[gnu::visibility("default")]] orvik {

using BOOL = int;  // TRUE or FALSE
inline constexpr BOOL TRUE = 1;
inline constexpr BOOL FALSE = 0;

using DWORD = std::uint32_t;
using HANDLE = void*;  // an open object; its maker says what it is and how it is closed
inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(~std::uintptr_t{0});
inline constexpr int MAX_PATH = 260;  // units of a fixed path buffer, the terminator included

using HRESULT = std::int32_t;  // negative is a failure

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;  // success, but nothing delivered
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001u);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);
inline constexpr HRESULT E_ABORT = static_cast<HRESULT>(0x80004004u);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
inline constexpr HRESULT STG_E_INVALIDFUNCTION = static_cast<HRESULT>(0x80030001u);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);
inline constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFFu);

}  // namespace orvik

#pragma pop_macro("BOOL")
#pragma pop_macro("TRUE")
#pragma pop_macro("FALSE")
#pragma pop_macro("INVALID_HANDLE_VALUE")
#pragma pop_macro("MAX_PATH")
#pragma pop_macro("S_OK")
#pragma pop_macro("S_FALSE")
#pragma pop_macro("E_NOTIMPL")
#pragma pop_macro("E_NOINTERFACE")
#pragma pop_macro("E_POINTER")
#pragma pop_macro("E_ABORT")
#pragma pop_macro("E_FAIL")
#pragma pop_macro("STG_E_INVALIDFUNCTION")
#pragma pop_macro("E_INVALIDARG")
#pragma pop_macro("E_UNEXPECTED")
