// The stream interfaces, in their slot order.
//
// Results: S_OK; S_FALSE from a read that delivered nothing; E_NOTIMPL from every slot that a class
// does not support; E_NOINTERFACE; E_FAIL; STG_E_INVALIDFUNCTION from a seek outside the stream;
// E_INVALIDARG; E_UNEXPECTED; E_POINTER for a null output pointer that cannot be left out. Counts
// are bytes. Output pointers for counts and positions may be null unless a class says otherwise.
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
  // Reads up to `count` bytes from the position on into `buffer` and moves the position behind
  // them; `*read` is their number. Fewer than `count` come at the end of the stream.
  virtual HRESULT Read(void* buffer, unsigned long count, unsigned long* read) = 0;
  // Takes `count` bytes of `data`, which the stream does not keep; `*written` is how many it took.
  // S_OK does not say that they are on disk: Finish does.
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
  // Writes the next `count` bytes into `target`; `*read` and `*written` are how many came and went.
  virtual HRESULT CopyTo(IStream* target, _ULARGE_INTEGER count, _ULARGE_INTEGER* read,
                         _ULARGE_INTEGER* written) = 0;
  virtual HRESULT Commit(unsigned long flags) = 0;
  virtual HRESULT Revert() = 0;
  virtual HRESULT LockRegion(_ULARGE_INTEGER offset, _ULARGE_INTEGER count, unsigned long type) = 0;
  virtual HRESULT UnlockRegion(_ULARGE_INTEGER offset, _ULARGE_INTEGER count,
                               unsigned long type) = 0;
  virtual HRESULT Stat(tagSTATSTG* out, unsigned long flags) = 0;
  // A second stream over the same bytes with a position of its own. The caller owns the reference.
  virtual HRESULT Clone(IStream** out) = 0;
};

// The most bytes that a narrow string holds: its header and terminator count as well.
inline constexpr std::size_t kLongestNarrowString = 0x7FFFFFFF - 16;

// A stream that collects what is written in memory and hands it over once.
class IStreamOnBuffer : public IStream {
 public:
  // Bytes written so far.
  virtual unsigned long GetSize() = 0;
  // The content is the first GetSize() bytes; the allocation may be larger.
  virtual boost::shared_array<unsigned char> DetachBufferPointer() = 0;
  // The content up to its first NUL byte; empty when no string can hold it (kLongestNarrowString).
  virtual CAtlStringA DetachBufferAsString() = 0;
};

// How the writer of a stream learns whether all of it arrived.
//
// The results of Write alone do not say so: bytes are gathered on their way, and a stream's last
// bytes move when its last reference goes, which has no result.
//
// A second interface of the streams of this library that write.
class IFinishableStream {
 public:
  virtual ~IFinishableStream() = default;
  // Ends the stream: what was written is brought to its place, and a file is closed. S_OK when all
  // of it arrived, E_FAIL otherwise; a further call gives the same. Files take no more bytes
  // afterwards.
  [[nodiscard("it alone says whether all bytes arrived")]] virtual HRESULT Finish() = 0;
  // The free bytes of the stream's buffer; what is put there has been written like by Write.
  virtual WriteRoom* room() = 0;
};

// Finish of a stream that offers it; S_OK for one that does not, E_INVALIDARG for null.
[[nodiscard("it alone says whether all bytes arrived")]] inline HRESULT FinishStream(
    IStream* stream) {
  if (stream == nullptr) return E_INVALIDARG;
  auto* const finishable = dynamic_cast<IFinishableStream*>(stream);
  return finishable == nullptr ? S_OK : finishable->Finish();
}
// The room of a stream that offers it, or null. It lives as long as the stream.
inline WriteRoom* RoomOfStream(IStream* stream) {
  auto* const finishable = dynamic_cast<IFinishableStream*>(stream);
  return finishable == nullptr ? nullptr : finishable->room();
}

}  // namespace orvik
