#include "streams/writable_compressed_file_stream.h"

#include <random>

#include "streams/stream_factory.h"
#include "tests/files/support.h"

namespace orvik::test {
namespace {

class WritableCompressedFileStreamTest : public EnvironmentTest {
 protected:
  // Another program's zlib.
  std::string Inflated() {
    const CommandResult result = RunCommand(
        {"python3", "-c",
         "import sys,zlib\nd=zlib.decompressobj()\n"
         "sys.stdout.buffer.write(d.decompress(open(sys.argv[1],'rb').read())+d.flush())\n"
         "sys.exit(0 if d.eof and not d.unused_data else 3)",
         file_.string()});
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  }

  void Compress(const std::string& content, std::size_t piece = 1 << 16) {
    CComPtr<IStream> stream = CStreamFactory::CreateWritableCompressedFileStream(path_);
    ASSERT_NE(stream, nullptr);
    for (std::size_t at = 0; at < content.size(); at += piece) {
      unsigned long written = 0;
      const std::size_t count = std::min(piece, content.size() - at);
      ASSERT_EQ(stream->Write(content.data() + at, count, &written), S_OK);
      ASSERT_EQ(written, count);
    }
  }

  bool NoRawFileIsLeft() const { return fs::is_empty(env_.temp()); }

  const fs::path file_ = env_.folder() / "target";
  const COrvikFilePath path_ = File(file_);
};

TEST_F(WritableCompressedFileStreamTest, HoldsOneZlibStreamOverAllBytes) {
  std::string text;
  for (int i = 0; i < 5000; ++i) text += "<item id=\"" + std::to_string(i * 7919 % 1000) + "\"/>";
  for (const std::string& content :
       {std::string(), std::string("x"), text, std::string(8 << 20, '\0')}) {
    SCOPED_TRACE(content.size());
    Compress(content, content.size() == text.size() ? 13 : 1 << 16);
    EXPECT_EQ(Inflated(), content);
    EXPECT_TRUE(NoRawFileIsLeft());
  }
  Compress("");
  EXPECT_EQ(fs::file_size(file_), 8u);
}

TEST_F(WritableCompressedFileStreamTest, BytesThatDoNotShrinkStayAsTheyAre) {
  std::mt19937 random(7);
  std::string noise(1 << 20, '\0');
  for (char& byte : noise) byte = static_cast<char>(random());
  Compress(noise);
  EXPECT_TRUE(ReadFile(file_) == noise);
  EXPECT_TRUE(NoRawFileIsLeft());
}

TEST_F(WritableCompressedFileStreamTest, TheTargetIsEmptyUntilTheLastReference) {
  WriteFile(file_, "old");
  CComPtr<IStream> stream = CStreamFactory::CreateWritableCompressedFileStream(path_);
  stream->Write("abc", 3, nullptr);
  EXPECT_EQ(fs::file_size(file_), 0u);
  EXPECT_FALSE(NoRawFileIsLeft());
  EXPECT_EQ(stream->Seek({}, 0, nullptr), E_NOTIMPL);
  stream.Release();
  EXPECT_EQ(Inflated(), "abc");
}

TEST_F(WritableCompressedFileStreamTest, ARawFileThatVanishedLeavesTheCompressionOfNothing) {
  CComPtr<IStream> stream = CStreamFactory::CreateWritableCompressedFileStream(path_);
  stream->Write("abc", 3, nullptr);
  for (const std::string& name : NamesIn(env_.temp())) fs::remove(env_.temp() / name);
  stream.Release();
  EXPECT_EQ(Inflated(), "");
  EXPECT_TRUE(NoRawFileIsLeft());
}

TEST_F(WritableCompressedFileStreamTest, AReadOnlyTargetIsRefusedOrLeftEmpty) {
  using fs::perms;
  WriteFile(file_, "old");
  fs::permissions(file_, perms::owner_read);
  EXPECT_EQ(CStreamFactory::CreateWritableCompressedFileStream(path_), nullptr);
  EXPECT_EQ(ReadFile(file_), "old");
  EXPECT_TRUE(NoRawFileIsLeft());

  fs::permissions(file_, perms::owner_read | perms::owner_write);
  CComPtr<IStream> stream = CStreamFactory::CreateWritableCompressedFileStream(path_);
  stream->Write("abc", 3, nullptr);
  fs::permissions(file_, perms::owner_read);
  stream.Release();
  EXPECT_EQ(fs::file_size(file_), 0u);
  EXPECT_TRUE(NoRawFileIsLeft());
}

TEST_F(WritableCompressedFileStreamTest, WithoutATemporaryFolderThereIsNoStream) {
  WriteFile(file_, "old");
  fs::remove(env_.temp());
  WriteFile(env_.temp(), "a file where the folder was");
  EXPECT_EQ(CStreamFactory::CreateWritableCompressedFileStream(path_), nullptr);
  EXPECT_EQ(CStreamFactory::CreateWritableCompressedFileStream({}), nullptr);
  auto* const direct = new CWritableCompressedFileStream(path_);
  EXPECT_FALSE(direct->valid());
  unsigned long written = 5;
  EXPECT_EQ(direct->Write("a", 1, &written), E_INVALIDARG);
  EXPECT_EQ(written, 0u);
  EXPECT_EQ(direct->Release(), 0u);
  EXPECT_TRUE(fs::is_regular_file(env_.temp()));
}

TEST_F(WritableCompressedFileStreamTest, AFullTemporaryFolderFailsTheWriteAndLeavesNoRawFile) {
  CComPtr<IStream> stream = CStreamFactory::CreateWritableCompressedFileStream(path_);
  const std::string piece(50'000, 'x');
  HRESULT last = S_OK;
  {
    const FileSizeLimit limit(100'000);
    for (int i = 0; i < 4 && last == S_OK; ++i) {
      last = stream->Write(piece.data(), piece.size(), nullptr);
    }
    stream.Release();
  }
  EXPECT_EQ(last, E_INVALIDARG);
  EXPECT_EQ(Inflated(), std::string(100'000, 'x'));
  EXPECT_TRUE(NoRawFileIsLeft());
}

TEST_F(WritableCompressedFileStreamTest, CompressesFiles) {
  const fs::path source = env_.folder() / "source";
  const COrvikFilePath source_path = File(source);
  EXPECT_EQ(compressFile(source_path, path_, 6), 0);
  EXPECT_EQ(Inflated(), "");
  WriteFile(source, "some text");
  EXPECT_EQ(compressFile(source_path, path_, 6), 0);
  EXPECT_EQ(Inflated(), "some text");
  EXPECT_NE(compressFile(source_path, File(env_.folder()), 6), 0);
  // Too large to be compressed at once; it is not taken for an empty file.
  fs::resize_file(source, 5ull << 30);
  EXPECT_NE(compressFile(source_path, path_, 6), 0);
  EXPECT_EQ(Inflated(), "some text");

  unsigned char output[100];
  unsigned int length = sizeof output;
  const unsigned char input[] = {1, 2, 3};
  EXPECT_EQ(zlib1_compress(output, &length, input, 3), 0);
  EXPECT_EQ(length, 11u);
  length = 4;
  EXPECT_NE(zlib1_compress(output, &length, input, 3), 0);
}

}  // namespace
}  // namespace orvik::test
