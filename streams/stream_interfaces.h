// The stream interfaces, in their slot order.
//
// Results: S_OK; S_FALSE from a read without bytes; E_NOTIMPL from every function that a class does
// not support; E_NOINTERFACE; E_FAIL; STG_E_INVALIDFUNCTION from a seek outside the stream;
// E_INVALIDARG; E_UNEXPECTED; E_POINTER for a null output pointer that is required. Counts are
// bytes. Output pointers for counts and positions may be null unless a class says otherwise.
#pragma once

#include <boost/smart_ptr/shared_array.hpp>
#include <cstddef>
#include <cstdint>

#include "streams/write_buffer.h"
#include "strings/atl_string_a.h"
#include "strings/unknown.h"
#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

struct _LARGE_INTEGER {
  std::int64_t QuadPart = 0;
};
struct _ULARGE_INTEGER {
  std::uint64_t QuadPart = 0;
};

inline constexpr _GUID GUID_NULL{};
// This system's own value.
inline constexpr _GUID IID_IStream{0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// Origins of IStream::Seek.
inline constexpr unsigned long STREAM_SEEK_SET = 0;
inline constexpr unsigned long STREAM_SEEK_CUR = 1;
inline constexpr unsigned long STREAM_SEEK_END = 2;

inline constexpr std::uint32_t STGTY_STREAM = 2;     // tagSTATSTG::type
inline constexpr unsigned long STATFLAG_NONAME = 1;  // flag of IStream::Stat

// The report of IStream::Stat.
struct tagSTATSTG {
  char16_t* pwcsName = nullptr;  // the caller frees it with CoTaskMemFree
  std::uint32_t type = 0;
  _ULARGE_INTEGER cbSize;
  _ULARGE_INTEGER mtime;
  _ULARGE_INTEGER ctime;
  _ULARGE_INTEGER atime;
  std::uint32_t grfMode = 0;
  std::uint32_t grfLocksSupported = 0;
  _GUID clsid{};
  std::uint32_t grfStateBits = 0;
  std::uint32_t reserved = 0;
};

class ISequentialStream : public IUnknown {
 public:
  // Reads up to `count` bytes from the position into `buffer` and moves the position behind them;
  // `*read` is their number. It is below `count` at the end of the stream.
  virtual HRESULT Read(void* buffer, unsigned long count, unsigned long* read) = 0;
  // Takes `count` bytes of `data`, which the stream does not keep; `*written` is the number taken.
  // S_OK does not mean that they are on disk: only Finish reports that.
  [[nodiscard("bytes may not have been taken")]] virtual HRESULT Write(const void* data,
                                                                       unsigned long count,
                                                                       unsigned long* written) = 0;
};

class IStream : public ISequentialStream {
 public:
  // Moves the position by `move` bytes from `origin`; `*new_position` is then the position from the
  // start.
  virtual HRESULT Seek(_LARGE_INTEGER move, unsigned long origin,
                       _ULARGE_INTEGER* new_position) = 0;
  virtual HRESULT SetSize(_ULARGE_INTEGER size) = 0;
  // Writes the next `count` bytes into `target`; `*read` and `*written` are the numbers of bytes
  // read and written.
  virtual HRESULT CopyTo(IStream* target, _ULARGE_INTEGER count, _ULARGE_INTEGER* read,
                         _ULARGE_INTEGER* written) = 0;
  virtual HRESULT Commit(unsigned long flags) = 0;
  virtual HRESULT Revert() = 0;
  virtual HRESULT LockRegion(_ULARGE_INTEGER offset, _ULARGE_INTEGER count, unsigned long type) = 0;
  virtual HRESULT UnlockRegion(_ULARGE_INTEGER offset, _ULARGE_INTEGER count,
                               unsigned long type) = 0;
  virtual HRESULT Stat(tagSTATSTG* out, unsigned long flags) = 0;
  // A second stream over the same bytes with its own position. The caller owns the reference.
  virtual HRESULT Clone(IStream** out) = 0;
};

// The most bytes of a narrow string, so that its header and terminator also fit.
inline constexpr std::size_t kLongestNarrowString = 0x7FFFFFFF - 16;

// A stream that collects the written bytes in memory and hands them over once.
class IStreamOnBuffer : public IStream {
 public:
  // Bytes written so far.
  virtual unsigned long GetSize() = 0;
  // The content is the first GetSize() bytes; the allocation may be larger.
  virtual boost::shared_array<unsigned char> DetachBufferPointer() = 0;
  // The content up to its first NUL byte; empty when it is too long for a string
  // (kLongestNarrowString).
  virtual CAtlStringA DetachBufferAsString() = 0;
};

// How the writer of a stream learns whether all bytes arrived.
//
// The results of Write do not show it: bytes are buffered, and the last bytes of a stream are
// written by its last Release, which has no result.
//
// This is a second interface of this library's streams that write.
class IFinishableStream {
 public:
  virtual ~IFinishableStream() = default;
  // Ends the stream: writes the buffered bytes and closes a file. S_OK when all bytes arrived,
  // E_FAIL otherwise; a further call gives the same. Files accept no more bytes afterwards.
  [[nodiscard("it alone says whether all bytes arrived")]] virtual HRESULT Finish() = 0;
  // The free bytes of the stream's buffer. Bytes put there count as written by Write.
  virtual WriteRoom* room() = 0;
};

// Finish of a stream that has it; S_OK for other streams, E_INVALIDARG for null.
[[nodiscard("it alone says whether all bytes arrived")]] inline HRESULT FinishStream(
    IStream* stream) {
  if (stream == nullptr) return E_INVALIDARG;
  auto* const finishable = dynamic_cast<IFinishableStream*>(stream);
  return finishable == nullptr ? S_OK : finishable->Finish();
}
// The room of a stream that has one, or null. It lives as long as the stream.
inline WriteRoom* RoomOfStream(IStream* stream) {
  auto* const finishable = dynamic_cast<IFinishableStream*>(stream);
  return finishable == nullptr ? nullptr : finishable->room();
}

}  // namespace orvik
