#include "src/console/console_stream.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "src/platform/handle.h"
#include "tests/unit/failing_allocation.h"

namespace {

// A pipe whose far end is read after the near end was closed; holds 64 KB.
class Pipe {
 public:
  Pipe() {
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    CreatePipe(&readEnd, &writeEnd, nullptr, 1 << 16);
    read_ = platform::KernelHandle(readEnd);
    write_ = platform::KernelHandle(writeEnd);
  }

  HANDLE WriteEnd() const { return write_.Get(); }
  void CloseReadEnd() { read_ = {}; }

  std::string Drain() {
    write_ = {};
    std::string all;
    char block[4096];
    DWORD size = 0;
    while (ReadFile(read_.Get(), block, sizeof(block), &size, nullptr) && size > 0) {
      all.append(block, size);
    }
    return all;
  }

 private:
  platform::KernelHandle read_;
  platform::KernelHandle write_;
};

// The bytes that a stream over the buffer writes for these pieces, flushed after each.
std::string Written(const std::vector<std::wstring>& pieces) {
  Pipe pipe;
  {
    ConsoleStreamBuffer buffer(pipe.WriteEnd());
    std::wostream stream(&buffer);
    for (const std::wstring& piece : pieces) stream << piece << std::flush;
  }
  return pipe.Drain();
}

TEST(ConsoleStreamBuffer, WritesAsciiByteForByteWithCarriageReturns) {
  EXPECT_EQ(Written({L"one\n", L"two\n\n"}), "one\r\ntwo\r\n\r\n");
}

TEST(ConsoleStreamBuffer, TreatsACarriageReturnAsTextModeDoes) {
  EXPECT_EQ(Written({L"one\r\n"}), "one\r\r\n");
}

TEST(ConsoleStreamBuffer, WritesUtf8) {
  EXPECT_EQ(Written({L"\u00E4\u03A9\u4E2D\n"}), "\xC3\xA4\xCE\xA9\xE4\xB8\xAD\r\n");
}

TEST(ConsoleStreamBuffer, LosesNothingAfterALetterOutsideAscii) {
  EXPECT_EQ(Written({L"\u4E2D\n", L"after\n"}), "\xE4\xB8\xAD\r\nafter\r\n");
}

TEST(ConsoleStreamBuffer, KeepsASurrogatePairTogetherAcrossFlushes) {
  EXPECT_EQ(Written({L"\xD83D", L"\xDE00!"}), "\xF0\x9F\x98\x80!");
}

TEST(ConsoleStreamBuffer, KeepsASurrogatePairTogetherAtEveryPlaceOfItsBuffer) {
  for (size_t before = 1015; before <= 1030; ++before) {
    const std::wstring text = std::wstring(before, L'x') + L"\U0001F600" + std::wstring(10, L'y');
    EXPECT_EQ(Written({text}), std::string(before, 'x') + "\xF0\x9F\x98\x80" + std::string(10, 'y'))
        << before;
  }
}

TEST(ConsoleStreamBuffer, WritesTheLastCharacterOfAllAtEveryPlaceOfItsBuffer) {
  for (size_t before = 1020; before <= 1030; ++before) {
    EXPECT_EQ(Written({std::wstring(before, L'x') + L"\uFFFFy"}),
              std::string(before, 'x') + "\xEF\xBF\xBFy")
        << before;
  }
}

TEST(ConsoleStreamBuffer, ReplacesHalfAPairAndGoesOn) {
  EXPECT_EQ(Written({L"a\xD83Dz\n", L"b\n"}), "a\xEF\xBF\xBDz\r\nb\r\n");
  EXPECT_EQ(Written({L"a\xD83D"}), "a\xEF\xBF\xBD");
}

TEST(ConsoleStreamBuffer, WritesLongTextsWhole) {
  const std::wstring text(20000, L'm');
  EXPECT_EQ(Written({text}), std::string(20000, 'm'));
}

TEST(ConsoleStreamBuffer, WritesWhateverTakesMostRoomWhole) {
  std::string lineEnds;
  std::string letters;
  std::string halves;
  for (int i = 0; i < 3000; ++i) {
    lineEnds += "\r\n";
    letters += "\xE4\xB8\xAD";
    halves += "\xEF\xBF\xBD";
  }
  EXPECT_EQ(Written({std::wstring(3000, L'\n')}), lineEnds);
  EXPECT_EQ(Written({std::wstring(3000, L'\u4E2D')}), letters);
  EXPECT_EQ(Written({std::wstring(3000, L'\xDE00')}), halves);
}

TEST(ConsoleStreamBuffer, NeedsNoMemoryToWrite) {
  Pipe pipe;
  ConsoleStreamBuffer buffer(pipe.WriteEnd());
  std::wostream stream(&buffer);
  {
    const FailingAllocation noMemory(1);
    stream << L"first \u4E2D line\n" << std::flush;
  }
  stream << L"second line\n" << std::flush;
  EXPECT_EQ(pipe.Drain(), "first \xE4\xB8\xAD line\r\nsecond line\r\n");
}

TEST(ConsoleStreamBuffer, AClosedPipeDoesNotStopTheStream) {
  Pipe pipe;
  pipe.CloseReadEnd();
  ConsoleStreamBuffer buffer(pipe.WriteEnd());
  std::wostream stream(&buffer);
  stream << L"lost\n" << std::flush;
  EXPECT_TRUE(stream.good());
}

}  // namespace
