#include "src/stores/entry_id.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

// {10314ABE-0B2A-46DC-B4B2-492AEBB384CB} as it lies in memory.
constexpr std::array<BYTE, 16> EmbeddedStoreSignature = {
    0xBE, 0x4A, 0x31, 0x10, 0x2A, 0x0B, 0xDC, 0x46, 0xB4, 0xB2, 0x49, 0x2A, 0xEB, 0xB3, 0x84, 0xCB};

constexpr size_t kFlagsSize = 4;
constexpr size_t kEmbeddedBlockSize = 68;
// From the start of the block.
constexpr size_t kParentProviderOffset = 36;

}  // namespace

std::optional<MAPIUID> EmbeddedParentProvider(std::span<const BYTE> entryId) {
  const auto signature = std::search(entryId.begin(), entryId.end(), EmbeddedStoreSignature.begin(),
                                     EmbeddedStoreSignature.end());
  if (signature == entryId.end()) return std::nullopt;
  // A signature at offset 4 would leave room for the flags, yet does not count: such a store has a
  // file of its own.
  const size_t offset = static_cast<size_t>(signature - entryId.begin());
  if (offset <= kFlagsSize) return std::nullopt;
  const std::span<const BYTE> block = entryId.subspan(offset - kFlagsSize);
  if (block.size() != kEmbeddedBlockSize) return std::nullopt;

  MAPIUID parentProvider;
  std::memcpy(&parentProvider, block.data() + kParentProviderOffset, sizeof(parentProvider));
  return parentProvider;
}
