// Streams: write a file, copy it into memory, take the text out.
#include <cstdio>

#include <orvik/files/directory_path.h>
#include <orvik/files/file_manipulator.h>
#include <orvik/streams/stream_factory.h>
#include <orvik/streams/stream_interfaces.h>

using namespace orvik;

int main() {
  const COrvikFilePath path = COrvikFilePath::CreateTempFileName(u".txt", u"stream-example");
  {
    const CComPtr<IStream> file = CStreamFactory::CreateWritableFileStream(path);
    if (file == nullptr || file->Write("seventeen bytes\n\n", 17, nullptr) != S_OK) return 1;
    if (FinishStream(file) != S_OK) return 1;  // closes the file; reports a full disk
  }

  CComPtr<IStreamOnBuffer> memory;
  CStreamFactory::CreateWritableBufferStream(&memory);
  const CComPtr<IStream> source = CStreamFactory::CreateReadableStreamOnFile(path);
  if (source == nullptr) return 1;
  _ULARGE_INTEGER count;
  count.QuadPart = 17;
  if (source->CopyTo(memory, count, nullptr, nullptr) != S_OK) return 1;
  std::printf("%s", memory->DetachBufferAsString().GetString());
  return CFileManipulator::DeleteFile(path) ? 0 : 1;
}
