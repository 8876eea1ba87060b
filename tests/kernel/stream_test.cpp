// Streams: memory streams (growth, gaps, sizes), file streams (modes, reopening, names in the
// host code page and in UTF-16), and telling live streams from anything else.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "vkl/kernel.h"

namespace {

constexpr int kCreate = 0xFF00;
constexpr int kRead = 0;
constexpr int kWrite = 1;
constexpr int kReadWrite = 2;

std::string read_all(VKL_Stream* s) {
  std::string out(static_cast<size_t>(VKL_StreamGetSize(s)), '\0');
  EXPECT_EQ(VKL_StreamSeek(s, 0, 0), 0);
  EXPECT_EQ(VKL_StreamRead(s, out.data(), static_cast<int64_t>(out.size())),
            static_cast<int64_t>(out.size()));
  return out;
}

int64_t write_text(VKL_Stream* s, const std::string& text) {
  return VKL_StreamWrite(s, text.data(), static_cast<int64_t>(text.size()));
}

TEST(MemoryStream, WriteSeekRead) {
  VKL_Stream* s = VKL_StreamMemCreate();
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(VKL_StreamGetSize(s), 0);
  EXPECT_EQ(write_text(s, std::string("hello\0world", 11)), 11);
  EXPECT_EQ(VKL_StreamGetPosition(s), 11);
  EXPECT_EQ(VKL_StreamSeek(s, -5, 2), 6);
  char buf[16] = {};
  EXPECT_EQ(VKL_StreamRead(s, buf, sizeof buf), 5);  // reads what is there
  EXPECT_EQ(std::string(buf, 5), "world");
  EXPECT_EQ(VKL_StreamRead(s, buf, sizeof buf), 0);
  EXPECT_EQ(VKL_StreamSeek(s, -2, 1), 9);
  // Overwriting in the middle keeps the size.
  EXPECT_EQ(write_text(s, "LD"), 2);
  EXPECT_EQ(read_all(s), std::string("hello\0worLD", 11));
  // Seeking before the start fails and keeps the position.
  EXPECT_EQ(VKL_StreamSeek(s, 3, 0), 3);
  EXPECT_EQ(VKL_StreamSeek(s, -4, 1), -1);
  EXPECT_EQ(VKL_StreamSeek(s, -12, 2), -1);
  EXPECT_EQ(VKL_StreamSeek(s, 1, 3), -1);
  EXPECT_EQ(VKL_StreamSetPosition(s, -1), 0);
  EXPECT_EQ(VKL_StreamGetPosition(s), 3);
  EXPECT_EQ(VKL_StreamSeek(s, INT64_MAX, 1), -1);
  VKL_StreamFree(s);
}

TEST(MemoryStream, GrowsAndFillsGapsWithZeros) {
  VKL_Stream* s = VKL_StreamMemCreate();
  std::string expect;
  for (int i = 0; i < 50000; ++i) {
    const std::string piece = std::to_string(i) + ",";
    ASSERT_EQ(write_text(s, piece), static_cast<int64_t>(piece.size()));
    expect += piece;
  }
  int64_t size = -1;
  const void* buf = VKL_StreamMemGetBuf(s, &size);
  ASSERT_EQ(size, static_cast<int64_t>(expect.size()));
  EXPECT_EQ(std::string(static_cast<const char*>(buf), static_cast<size_t>(size)), expect);

  // A write past the end leaves zeros in between.
  VKL_StreamSetSize(s, 2);
  EXPECT_EQ(VKL_StreamSetPosition(s, 6), 1);
  EXPECT_EQ(VKL_StreamGetSize(s), 2);
  char nothing[4];
  EXPECT_EQ(VKL_StreamRead(s, nothing, 4), 0);
  EXPECT_EQ(write_text(s, "xy"), 2);
  EXPECT_EQ(read_all(s), std::string("0,\0\0\0\0xy", 8));
  VKL_StreamFree(s);
}

TEST(MemoryStream, SetSizeTruncatesAndExtends) {
  VKL_Stream* s = VKL_StreamMemCreate();
  ASSERT_EQ(write_text(s, "abcdefgh"), 8);
  EXPECT_EQ(VKL_StreamSetSize(s, 3), 1);
  EXPECT_EQ(VKL_StreamGetPosition(s), 3);  // a position past the new end moves to it
  EXPECT_EQ(VKL_StreamSetSize(s, 6), 1);
  EXPECT_EQ(VKL_StreamGetPosition(s), 3);
  EXPECT_EQ(read_all(s), std::string("abc\0\0\0", 6));  // bytes gained are zero
  EXPECT_EQ(VKL_StreamSetSize(s, -1), 0);
  EXPECT_EQ(VKL_StreamGetSize(s), 6);
  // A large buffer that shrinks keeps its content.
  ASSERT_EQ(VKL_StreamSetSize(s, 1 << 20), 1);
  ASSERT_EQ(VKL_StreamSetSize(s, 2), 1);
  EXPECT_EQ(read_all(s), "ab");
  VKL_StreamFree(s);
}

TEST(MemoryStream, BadArgumentsAreRefused) {
  VKL_Stream* s = VKL_StreamMemCreate();
  char buf[4];
  EXPECT_EQ(VKL_StreamWrite(s, buf, -1), -1);
  EXPECT_EQ(VKL_StreamWrite(s, nullptr, 3), -1);
  EXPECT_EQ(VKL_StreamRead(s, buf, -1), -1);
  EXPECT_EQ(VKL_StreamRead(s, nullptr, 3), -1);
  EXPECT_EQ(VKL_StreamWrite(s, nullptr, 0), 0);
  EXPECT_EQ(VKL_StreamGetSize(s), 0);
  EXPECT_NE(VKL_StreamMemGetBuf(s, nullptr), nullptr);
  VKL_StreamFree(s);

  EXPECT_EQ(VKL_StreamRead(nullptr, buf, 1), -1);
  EXPECT_EQ(VKL_StreamWrite(nullptr, buf, 1), -1);
  EXPECT_EQ(VKL_StreamSeek(nullptr, 0, 0), -1);
  EXPECT_EQ(VKL_StreamSetSize(nullptr, 0), 0);
  int64_t size = 7;
  EXPECT_EQ(VKL_StreamMemGetBuf(nullptr, &size), nullptr);
  EXPECT_EQ(size, 0);
}

// A fresh directory for each test, removed with everything in it.
class FileStreamTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/vkl-stream-XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir = tmpl;
  }
  void TearDown() override {
    ASSERT_EQ(VKL_GetCodePage(), 936);
    EXPECT_EQ(std::system(("rm -rf '" + dir + "'").c_str()), 0);
  }
  std::string path(const std::string& name) const { return dir + "/" + name; }
  std::string dir;
};

TEST_F(FileStreamTest, CreateWriteReopenRead) {
  const std::string name = path("data.bin");
  VKL_Stream* s = VKL_StreamFileCreate(name.c_str(), kCreate);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(write_text(s, std::string("line one\nline\0two", 17)), 17);
  EXPECT_EQ(VKL_StreamGetSize(s), 17);
  EXPECT_EQ(VKL_StreamMemGetBuf(s, nullptr), nullptr);
  VKL_StreamFree(s);

  s = VKL_StreamFileCreate(name.c_str(), kRead);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(VKL_StreamGetPosition(s), 0);
  EXPECT_EQ(VKL_StreamSeek(s, 5, 0), 5);
  char buf[32] = {};
  EXPECT_EQ(VKL_StreamRead(s, buf, sizeof buf), 12);
  EXPECT_EQ(std::string(buf, 12), std::string("one\nline\0two", 12));
  EXPECT_EQ(VKL_StreamRead(s, buf, sizeof buf), 0);
  EXPECT_EQ(VKL_StreamSeek(s, -3, 2), 14);
  EXPECT_EQ(VKL_StreamSeek(s, -20, 1), -1);
  EXPECT_EQ(VKL_StreamGetPosition(s), 14);
  EXPECT_EQ(VKL_StreamWrite(s, "x", 1), -1);  // opened for reading only
  EXPECT_EQ(VKL_StreamSetSize(s, 0), 0);
  VKL_StreamFree(s);

  // Opening for writing does not truncate; creating does.
  s = VKL_StreamFileCreate(name.c_str(), kWrite);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(write_text(s, "LINE"), 4);
  char c;
  EXPECT_EQ(VKL_StreamRead(s, &c, 1), -1);  // opened for writing only
  VKL_StreamFree(s);
  s = VKL_StreamFileCreate(name.c_str(), kReadWrite | 0x20);  // share bits are ignored
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(read_all(s), std::string("LINE one\nline\0two", 17));
  VKL_StreamFree(s);
  s = VKL_StreamFileCreate(name.c_str(), kCreate);
  EXPECT_EQ(VKL_StreamGetSize(s), 0);
  VKL_StreamFree(s);
}

TEST_F(FileStreamTest, SetSizeAndWritesPastTheEnd) {
  VKL_Stream* s = VKL_StreamFileCreate(path("sized").c_str(), kCreate);
  ASSERT_NE(s, nullptr);
  ASSERT_EQ(write_text(s, "0123456789"), 10);
  EXPECT_EQ(VKL_StreamSetSize(s, 4), 1);
  EXPECT_EQ(VKL_StreamGetSize(s), 4);
  EXPECT_EQ(VKL_StreamGetPosition(s), 4);
  EXPECT_EQ(VKL_StreamSetSize(s, 6), 1);
  EXPECT_EQ(read_all(s), std::string("0123\0\0", 6));
  EXPECT_EQ(VKL_StreamSeek(s, 2, 2), 8);
  EXPECT_EQ(write_text(s, "z"), 1);
  EXPECT_EQ(read_all(s), std::string("0123\0\0\0\0z", 9));
  EXPECT_EQ(VKL_StreamSetSize(s, -1), 0);
  VKL_StreamFree(s);
}

TEST_F(FileStreamTest, FilesThatCannotBeOpened) {
  EXPECT_EQ(VKL_StreamFileCreate(path("missing").c_str(), kWrite), nullptr);
  EXPECT_EQ(VKL_StreamFileCreate(path("no/such/dir").c_str(), kCreate), nullptr);
  EXPECT_EQ(VKL_StreamFileCreate(dir.c_str(), kRead), nullptr);  // a directory
  EXPECT_EQ(VKL_StreamFileCreate(nullptr, kRead), nullptr);
  VKL_Stream* s = VKL_StreamFileCreate(path("three").c_str(), kCreate);
  VKL_StreamFree(s);
  EXPECT_EQ(VKL_StreamFileCreate(path("three").c_str(), 3), nullptr);  // no such mode
}

TEST_F(FileStreamTest, NamesInTheHostCodePageAndInUtf16) {
  // "日线.txt" as GBK bytes, as the file system's UTF-8 and as UTF-16.
  const std::string gbk = path("\xC8\xD5\xCF\xDF.txt");
  const std::string utf8 = path("\xE6\x97\xA5\xE7\xBA\xBF.txt");
  VKL_Stream* s = VKL_StreamFileCreate(gbk.c_str(), kCreate);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(write_text(s, "day"), 3);
  VKL_StreamFree(s);
  struct stat st;
  ASSERT_EQ(stat(utf8.c_str(), &st), 0);
  EXPECT_EQ(st.st_size, 3);

  std::u16string wide;
  for (char c : dir + "/") wide += static_cast<char16_t>(c);  // the directory name is ASCII
  wide += u"\u65E5\u7EBF.txt";
  s = VKL_StreamFileCreateW(wide.c_str(), kRead);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(read_all(s), "day");
  VKL_StreamFree(s);

  // A name that does not convert is refused rather than mapped to some other file.
  EXPECT_EQ(VKL_StreamFileCreate(path("bad\x81").c_str(), kCreate), nullptr);
  std::u16string lone = wide + u"\xD800";
  EXPECT_EQ(VKL_StreamFileCreateW(lone.c_str(), kCreate), nullptr);
}

TEST(StreamRegistry, OnlyLiveStreamsAreStreams) {
  VKL_Stream* mem = VKL_StreamMemCreate();
  char tmpl[] = "/tmp/vkl-isstream-XXXXXX";
  const int fd = mkstemp(tmpl);
  ASSERT_GE(fd, 0);
  close(fd);
  VKL_Stream* file = VKL_StreamFileCreate(tmpl, kReadWrite);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(VKL_isStream(mem), 1);
  EXPECT_EQ(VKL_isStream(file), 1);

  int local = 0;
  std::vector<char> heap(64, 0x5A);
  EXPECT_EQ(VKL_isStream(nullptr), 0);
  EXPECT_EQ(VKL_isStream(&local), 0);
  EXPECT_EQ(VKL_isStream(heap.data()), 0);
  EXPECT_EQ(VKL_isStream(reinterpret_cast<const void*>(uintptr_t{0x10})), 0);

  VKL_StreamFree(mem);
  VKL_StreamFree(file);
  EXPECT_EQ(VKL_isStream(mem), 0);
  EXPECT_EQ(VKL_isStream(file), 0);
  VKL_StreamFree(mem);  // a second free is ignored
  VKL_StreamFree(nullptr);
  VKL_StreamFree(reinterpret_cast<VKL_Stream*>(heap.data()));  // not a stream: ignored
  unlink(tmpl);
}

}  // namespace
