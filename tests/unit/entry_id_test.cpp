#include "src/stores/entry_id.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

namespace {

using Bytes = std::vector<BYTE>;

constexpr std::array<BYTE, 16> kSignature = {0xBE, 0x4A, 0x31, 0x10, 0x2A, 0x0B, 0xDC, 0x46,
                                             0xB4, 0xB2, 0x49, 0x2A, 0xEB, 0xB3, 0x84, 0xCB};
constexpr size_t kBehindSignature = 48;

// `size` bytes that count up from 1 and never spell the signature.
Bytes Filler(size_t size) {
  Bytes bytes(size);
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<BYTE>(i + 1);
  return bytes;
}

// An entry ID with the signature at `offset` and `behind` bytes after it.
Bytes WithSignatureAt(size_t offset, size_t behind = kBehindSignature) {
  Bytes bytes = Filler(offset + kSignature.size() + behind);
  std::copy(kSignature.begin(), kSignature.end(),
            bytes.begin() + static_cast<std::ptrdiff_t>(offset));
  return bytes;
}

TEST(EmbeddedParentProvider, IsFoundThirtyTwoBytesBehindTheSignaturesStart) {
  const Bytes entryId = WithSignatureAt(40);
  const auto uid = EmbeddedParentProvider(entryId);
  ASSERT_TRUE(uid);
  EXPECT_TRUE(std::equal(std::begin(uid->ab), std::end(uid->ab), entryId.begin() + 72));
}

TEST(EmbeddedParentProvider, EveryOffsetUpToFourMakesAFileStore) {
  for (size_t offset = 0; offset <= 4; ++offset) {
    EXPECT_FALSE(EmbeddedParentProvider(WithSignatureAt(offset))) << offset;
  }
}

TEST(EmbeddedParentProvider, EveryOffsetBeyondFourMakesAnEmbeddedStore) {
  for (size_t offset = 5; offset <= 64; ++offset) {
    EXPECT_TRUE(EmbeddedParentProvider(WithSignatureAt(offset))) << offset;
  }
}

TEST(EmbeddedParentProvider, ExactlySixtyEightBytesMustFollowTheFlagsStart) {
  for (size_t behind = 0; behind <= 2 * kBehindSignature; ++behind) {
    EXPECT_EQ(EmbeddedParentProvider(WithSignatureAt(36, behind)).has_value(),
              behind == kBehindSignature)
        << behind;
  }
}

TEST(EmbeddedParentProvider, OnlyTheFirstSignatureCounts) {
  Bytes entryId = WithSignatureAt(40);
  std::copy(kSignature.begin(), kSignature.end(), entryId.begin() + 2);
  EXPECT_FALSE(EmbeddedParentProvider(entryId));
  entryId = WithSignatureAt(40);
  std::copy(kSignature.begin(), kSignature.end(), entryId.begin() + 10);
  EXPECT_FALSE(EmbeddedParentProvider(entryId));
  // A second one behind the first changes nothing.
  entryId = WithSignatureAt(40);
  std::copy(kSignature.begin(), kSignature.end(), entryId.begin() + 80);
  EXPECT_TRUE(EmbeddedParentProvider(entryId));
}

TEST(EmbeddedParentProvider, EveryByteOfTheSignatureCounts) {
  for (size_t i = 0; i < kSignature.size(); ++i) {
    Bytes entryId = WithSignatureAt(40);
    entryId[40 + i] ^= 0x01;
    EXPECT_FALSE(EmbeddedParentProvider(entryId)) << i;
  }
}

TEST(EmbeddedParentProvider, ShortEntryIdsAreNone) {
  for (size_t size = 0; size < 68; ++size) EXPECT_FALSE(EmbeddedParentProvider(Filler(size)));
  EXPECT_FALSE(EmbeddedParentProvider(Bytes(kSignature.begin(), kSignature.end())));
  EXPECT_FALSE(EmbeddedParentProvider(Bytes(kSignature.begin(), kSignature.end() - 1)));
}

TEST(EmbeddedParentProvider, AnEntryIdWithoutTheSignatureIsAFileStores) {
  EXPECT_FALSE(EmbeddedParentProvider(Filler(120)));
}

}  // namespace
