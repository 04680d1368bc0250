#include "streams/compressed_file_stream.h"

#include <sys/resource.h>

#include "streams/com_ptr.h"
#include "streams/stream_factory.h"
#include "tests/files/support.h"

namespace orvik::test {
namespace {

using fs::perms;

std::string Noise(std::size_t size) {
  std::mt19937 random(7);
  std::string noise(size, '\0');
  for (char& byte : noise) byte = static_cast<char>(random());
  return noise;
}

class WritableCompressedFileStreamTest : public EnvironmentTest {
 protected:
  WritableCompressedFileStreamTest() { fs::create_directory(folder_); }

  // Uses zlib in another program, which also compresses the result again at its default level.
  std::string Inflated() {
    const CommandResult result =
        RunCommand({"python3", "-c",
                    "import sys,zlib\nb=open(sys.argv[1],'rb').read()\nd=zlib.decompressobj()\n"
                    "t=d.decompress(b)+d.flush()\nsys.stdout.buffer.write(t)\n"
                    "sys.exit(0 if d.eof and not d.unused_data and zlib.compress(t)==b else 3)",
                    file_.string()});
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  }

  CComPtr<IStream> Stream() { return CStreamFactory::CreateWritableCompressedFileStream(path_); }

  HRESULT Compress(const std::string& content, std::size_t piece = 1 << 16) {
    const CComPtr<IStream> stream = Stream();
    for (std::size_t at = 0; at < content.size(); at += piece) {
      unsigned long written = 0;
      const std::size_t count = std::min(piece, content.size() - at);
      EXPECT_EQ(stream->Write(content.data() + at, count, &written), S_OK);
      EXPECT_EQ(written, count);
    }
    return FinishStream(stream);
  }

  // The names in the folder of the target and in the temporary folder.
  std::vector<std::string> Files() const {
    std::vector<std::string> names = NamesIn(folder_);
    for (const std::string& name : NamesIn(env_.temp())) names.push_back("tmp/" + name);
    return names;
  }

  const fs::path folder_ = env_.folder() / "streams";
  const fs::path file_ = folder_ / "target";
  const COrvikFilePath path_ = File(file_);
};

TEST_F(WritableCompressedFileStreamTest, HoldsTheStreamThatZlibMakesOfAllBytes) {
  std::string text;
  for (int i = 0; i < 50'000; ++i) text += "<item id=\"" + std::to_string(i * 7919 % 1000) + "\"/>";
  const std::pair<std::string, std::size_t> cases[] = {{"", 1},
                                                       {"x", 1},
                                                       {text, 13},
                                                       {text, 9 << 20},
                                                       {std::string(8 << 20, '\0'), 1 << 16},
                                                       {Noise(100'000) + text, 1 << 16}};
  for (const auto& [content, piece] : cases) {
    EXPECT_EQ(Compress(content, piece), S_OK);
    EXPECT_TRUE(Inflated() == content) << content.size() << " in pieces of " << piece;
  }
  EXPECT_EQ(Files(), (std::vector<std::string>{"target"}));
}

TEST_F(WritableCompressedFileStreamTest, TheTargetStaysUntilTheLastReferenceOrFinish) {
  for (const bool finishes : {false, true}) {
    WriteFile(file_, "old");
    CComPtr<IStream> stream = Stream();
    EXPECT_EQ(stream->Write("abc", 3, nullptr), S_OK);
    EXPECT_EQ(ReadFile(file_), "old");
    EXPECT_EQ(Files(), (std::vector<std::string>{"target"})) << "the private file has no name";
    if (finishes) {
      EXPECT_EQ(FinishStream(stream), S_OK);
      EXPECT_EQ(Inflated(), "abc");
      EXPECT_EQ(stream->Write("d", 1, nullptr), E_INVALIDARG);
      EXPECT_EQ(FinishStream(stream), S_OK);
    }
    stream.Release();
    EXPECT_EQ(Inflated(), "abc");
  }
}

TEST_F(WritableCompressedFileStreamTest, ReplacesTheTargetOfALinkOrLeavesAReadOnlyOne) {
  const fs::path real = folder_ / "real";
  WriteFile(real, "old content");
  fs::create_symlink("real", file_);
  for (const std::string& content : {std::string("shrinks"), Noise(400'000)}) {
    EXPECT_EQ(Compress(content), S_OK);
    EXPECT_TRUE(fs::is_symlink(file_));
    EXPECT_TRUE((content.size() < 100 ? Inflated() : ReadFile(real)) == content);
  }
  for (const fs::path& path : {real, file_}) {
    fs::permissions(real, perms::owner_read | perms::owner_write);
    CComPtr<IStream> stream = CStreamFactory::CreateWritableCompressedFileStream(File(path));
    EXPECT_EQ(stream->Write("abc", 3, nullptr), S_OK);
    fs::permissions(real, perms::owner_read);
    EXPECT_EQ(FinishStream(stream), E_FAIL);
    stream.Release();
    EXPECT_EQ(CStreamFactory::CreateWritableCompressedFileStream(File(path)), nullptr);
    EXPECT_TRUE(ReadFile(real) == Noise(400'000));
    EXPECT_EQ(Files(), (std::vector<std::string>{"real", "target"}));
  }
  const auto full =
      CStreamFactory::CreateWritableCompressedFileStream(COrvikFilePath(u"/dev/full"));
  EXPECT_EQ(full->Write(nullptr, 1, nullptr), E_INVALIDARG);
  EXPECT_EQ(full->Write("abc", 3, nullptr), S_OK);
  EXPECT_EQ(FinishStream(full), E_FAIL);
  fs::permissions(file_, perms::all);
  CComPtr<IStream> stream = Stream();
  const FileSizeLimit limit(100'000);
  unsigned long written = 9;
  EXPECT_EQ(stream->Write(Noise(400'000).data(), 400'000, &written), E_INVALIDARG);
  EXPECT_EQ(written, 0u);
  EXPECT_EQ(stream->Write("abc", 3, nullptr), E_INVALIDARG);
  EXPECT_EQ(FinishStream(stream), E_FAIL);
  stream.Release();
  EXPECT_TRUE(ReadFile(file_) == Noise(400'000));
}

TEST_F(WritableCompressedFileStreamTest, MemoryDoesNotGrowWithTheBytes) {
  const std::string piece(1 << 20, 'x');
  const CComPtr<IStream> stream = Stream();
  EXPECT_EQ(stream->Write(piece.data(), piece.size(), nullptr), S_OK);
  rusage before, after;
  getrusage(RUSAGE_SELF, &before);
  for (int i = 0; i < 30; ++i) {
    EXPECT_EQ(stream->Write(piece.data(), piece.size(), nullptr), S_OK);
  }
  getrusage(RUSAGE_SELF, &after);
  EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 8'000) << "kilobytes";
}

TEST_F(WritableCompressedFileStreamTest, CompressesFiles) {
  const COrvikFilePath source = File(At("source"));
  EXPECT_EQ(compressFile(source, path_, 6), 0);
  EXPECT_EQ(Inflated(), "");
  WriteFile(At("source"), "some text");
  EXPECT_EQ(compressFile(source, path_, 6), 0);
  EXPECT_NE(compressFile(source, File(top_), 6), 0);
  for (const char* none : {".", "/dev/zero"}) EXPECT_NE(compressFile(File(At(none)), path_, 6), 0);
  WriteFile(At("source"), Noise(400'000));
  EXPECT_NE(compressFile(source, path_, 6), 0) << "it does not shrink";
  EXPECT_EQ(Inflated(), "some text");
}

TEST_F(WritableCompressedFileStreamTest, IsReadAgain) {
  const auto read = [this](std::size_t piece) -> std::pair<HRESULT, std::string> {
    const CComPtr<IStream> stream = CStreamFactory::CreateReadableCompressedFileStream(path_);
    std::string all, buffer(piece, '\0');
    for (;;) {
      unsigned long count = 0;
      const HRESULT result = stream->Read(buffer.data(), buffer.size(), &count);
      all.append(buffer, 0, count);
      if (result == S_OK) continue;
      EXPECT_EQ(stream->Read(buffer.data(), 1, &count), result) << "as before";
      return {result, all};
    }
  };
  // Long runs compress well; noise is stored uncompressed.
  for (const std::string& content : {std::string(), std::string("x"), std::string(3 << 20, 'a'),
                                     Noise(400'000), Noise(200'000)}) {
    ASSERT_EQ(Compress(content), S_OK);
    for (const std::size_t piece : {std::size_t{7777}, std::size_t{5} << 20}) {
      EXPECT_TRUE(read(piece) == (std::pair<HRESULT, std::string>(S_FALSE, content)));
    }
  }
  // Almost the first two bytes of a stream: another method, a larger window, a dictionary, another
  // check.
  for (const std::string plain : {"\x77\x09z", "\x88\x1Cz", "\x78\x20z", "\x78\x02z", "\x78"}) {
    WriteFile(file_, plain);
    EXPECT_TRUE(read(2) == (std::pair<HRESULT, std::string>(S_FALSE, plain))) << plain;
  }
  ASSERT_EQ(Compress(Noise(200'000)), S_OK);
  const std::string whole = ReadFile(file_);
  std::string damaged = whole;
  damaged[whole.size() - 2] ^= 1;  // in the checksum
  for (const std::string& bytes : {whole.substr(0, whole.size() - 1), whole.substr(0, 2),
                                   whole + "x", damaged, whole + std::string(70'000, 'x')}) {
    WriteFile(file_, bytes);
    const auto [result, text] = read(1 << 16);
    EXPECT_EQ(result, E_FAIL) << bytes.size();
    EXPECT_TRUE(Noise(200'000).starts_with(text)) << "what came before the fault is right";
  }
  EXPECT_EQ(CStreamFactory::CreateReadableCompressedFileStream(path_)->Read(nullptr, 1, nullptr),
            E_INVALIDARG);
}

}  // namespace
}  // namespace orvik::test
