#include "xml/base64.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string_view>

#include "files/file_manipulator.h"
#include "files/whole_file.h"
#include "host/descriptor.h"
#include "streams/stream_interfaces.h"
#include "text/byte_encodings.h"

namespace orvik {
namespace {

// Whether a string has room for the head and the encoding of `count` bytes.
bool FitsString(std::string_view head, std::uint64_t count) {
  return Base64Length(count) <= kLongestNarrowString &&
         head.size() <= kLongestNarrowString - Base64Length(count);
}

// 0 when the file cannot be read.
std::uint64_t ReadableSize(const COrvikFilePath& path) {
  const CFile file(CFileManipulator::OpenFile(path, "rb"));
  return file == nullptr ? 0 : host::SizeOfRegular(fileno(file.get())).value_or(0);
}

// The groups of a text. Their number is that of the whole length, even if a leading "+ " is
// skipped: then the last group is incomplete, and its missing characters are invalid.
struct Groups {
  Groups(const char* input, unsigned int length) : text(input, input == nullptr ? 0 : length) {
    const std::size_t count = text.size() / 4;
    if (text.starts_with("+ ")) text.remove_prefix(2);
    cut_short = count > text.size() / 4;
    whole = std::min(count, text.size() / 4);
  }

  std::string_view text;
  std::size_t whole;
  bool cut_short;
};

}  // namespace

int encode64(const unsigned char* input, unsigned int input_length, char* output,
             unsigned int output_room, unsigned int* output_length) {
  const std::uint64_t length = Base64Length(input_length);
  if (output_length != nullptr) *output_length = static_cast<unsigned int>(length);
  if (length > output_room) return 0;
  EncodeBase64(input, input_length, output);
  return 1;
}

int decode64(const char* input, unsigned int input_length, unsigned char* output,
             unsigned int* output_length) {
  const Groups groups(input, input_length);
  if (groups.text.empty() || groups.text.front() == '\0') return 0;
  unsigned char* end = output;
  if (!DecodeBase64(groups.text.data(), groups.whole, end) || groups.cut_short) return 0;
  if (output_length != nullptr) *output_length = static_cast<unsigned int>(end - output);
  return 1;
}

CAtlStringA ConvertRawBytesIntoBase64String(const unsigned char* bytes, long length,
                                            const char* prefix) {
  const std::string_view head = prefix == nullptr ? std::string_view() : prefix;
  const std::size_t count = bytes == nullptr || length < 0 ? 0 : static_cast<std::size_t>(length);
  if (!FitsString(head, count)) return CAtlStringA();
  CAtlStringA result;
  const int total = static_cast<int>(head.size() + Base64Length(count));
  char* const text = result.GetBufferSetLength(total);
  std::copy(head.begin(), head.end(), text);
  EncodeBase64(bytes, count, text + head.size());
  result.ReleaseBuffer(total);
  return result;
}

HRESULT ConvertBinaryFileToBase64String(const COrvikFilePath& path, CAtlStringA& result,
                                        const char* prefix) {
  if (!path.FileExists()) return E_INVALIDARG;
  if (!FitsString(prefix == nullptr ? "" : prefix, ReadableSize(path))) return E_FAIL;
  unsigned char* buffer = nullptr;
  const unsigned long length = CFileManipulator::ReadFileIntoBuffer(path, buffer);
  const std::unique_ptr<unsigned char[]> bytes(buffer);
  result = ConvertRawBytesIntoBase64String(bytes.get(), static_cast<long>(length), prefix);
  return S_OK;
}

HRESULT decode64ToFile(const COrvikFilePath& path, const char* input, unsigned int input_length) {
  host::FileReplacement file;
  if (!OpenReplacement(path, file) || file.is_device()) return E_INVALIDARG;
  const Groups groups(input, input_length);
  constexpr std::size_t kGroups = 1 << 14;
  const std::unique_ptr<unsigned char[]> buffer(new unsigned char[kGroups * 3]);
  bool good = !groups.cut_short;
  for (std::size_t done = 0; good && done < groups.whole;) {
    const std::size_t step = std::min(groups.whole - done, kGroups);
    unsigned char* end = buffer.get();
    good = DecodeBase64(groups.text.data() + done * 4, step, end) &&
           file.Write({reinterpret_cast<const char*>(buffer.get()),
                       static_cast<std::size_t>(end - buffer.get())}) == 0;
    done += step;
  }
  if (good && file.Commit() == 0) return S_OK;
  // The target of a link is never removed.
  struct stat record;
  if (CFileManipulator::StatFile(path, &record) == 0 && S_ISREG(record.st_mode)) {
    CFileManipulator::DeleteFile(path);
  }
  return E_FAIL;
}

}  // namespace orvik
