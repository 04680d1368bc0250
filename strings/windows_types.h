// The Windows-style scalar types and result codes that every layer above shares.
#pragma once

#include <cstdint>

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
inline constexpr HRESULT S_FALSE = 1;  // success with nothing delivered
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001u);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);
inline constexpr HRESULT E_ABORT = static_cast<HRESULT>(0x80004004u);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
inline constexpr HRESULT STG_E_INVALIDFUNCTION = static_cast<HRESULT>(0x80030001u);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);
inline constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFFu);

}  // namespace orvik
