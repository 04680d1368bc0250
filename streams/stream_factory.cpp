#include "streams/stream_factory.h"

#include "streams/compressed_file_stream.h"
#include "streams/readable_stream_on_file.h"
#include "streams/writable_file_stream.h"
#include "streams/writeable_buffer_stream.h"

namespace orvik {
namespace {

// Takes over the only reference of a fresh stream; releases a stream that could not be opened.
template <typename Stream>
CComPtr<IStream> IfUsable(Stream* stream, bool usable) {
  CComPtr<IStream> kept;
  kept.Attach(stream);
  if (!usable) kept.Release();
  return kept;
}

}  // namespace

void CStreamFactory::CreateWritableBufferStream(IStreamOnBuffer** out) {
  if (out != nullptr) *out = new CWriteableBufferStream();
}

CComPtr<IStream> CStreamFactory::CreateReadableStreamOnFile(const COrvikFilePath& path,
                                                            _LARGE_INTEGER start) {
  auto* const stream = new CReadableStreamOnFile(path, start);
  return IfUsable(stream, stream->opened());
}

CComPtr<IStream> CStreamFactory::CreateReadableCompressedFileStream(const COrvikFilePath& path) {
  auto* const stream = new CReadableCompressedFileStream(path);
  return IfUsable(stream, stream->opened());
}

CComPtr<IStream> CStreamFactory::CreateWritableFileStream(const COrvikFilePath& path,
                                                          _LARGE_INTEGER start) {
  if (path.IsEmptyPath()) return nullptr;
  auto* const stream = new CWritableFileStream(path, start);
  return IfUsable(stream, stream->opened());
}

CComPtr<IStream> CStreamFactory::CreateWritableCompressedFileStream(const COrvikFilePath& path,
                                                                    _LARGE_INTEGER start) {
  if (path.IsEmptyPath()) return nullptr;
  auto* const stream = new CWritableCompressedFileStream(path, start);
  return IfUsable(stream, stream->valid());
}

}  // namespace orvik
