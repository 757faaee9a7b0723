#include "lab/common/entry_id.h"

#include <algorithm>
#include <cstring>

namespace lab {
namespace {

constexpr Uid kStoreWrap = {0x38, 0xA1, 0xBB, 0x10, 0x05, 0xE5, 0x10, 0x1A,
                            0xA1, 0xBB, 0x08, 0x00, 0x2B, 0x2A, 0x56, 0xC2};
constexpr char kModuleName[] = "qrvms.dll";
constexpr size_t kFlagsSize = 4;

// What the own part of a file store and of a mailbox begins with behind its flags.
constexpr Uid kConnectorUid = {0x1C, 0x5A, 0x7E, 0x20, 0x6B, 0x91, 0x4D, 0x0F,
                               0x9E, 0x33, 0x51, 0xC8, 0x02, 0x7D, 0xA4, 0x16};
constexpr Uid kMailboxUid = {0x1D, 0x5A, 0x7E, 0x20, 0x6B, 0x91, 0x4D, 0x0F,
                             0x9E, 0x33, 0x51, 0xC8, 0x02, 0x7D, 0xA4, 0x16};

template <class Range>
void Append(Bytes* bytes, const Range& more) {
  bytes->insert(bytes->end(), std::begin(more), std::end(more));
}

// The wrapping, up to the own part, and that part's order.
Bytes Wrapping(uint32_t order) {
  Bytes bytes(kFlagsSize);
  Append(&bytes, kStoreWrap);
  bytes.push_back(0);  // version
  bytes.push_back(0);  // flag
  Append(&bytes, kModuleName);
  bytes.resize(kOwnPartOffset);
  for (const int shift : {24, 16, 8, 0}) bytes.push_back(static_cast<uint8_t>(order >> shift));
  return bytes;
}

// A store's own UID, from that of its provider.
Uid StoreUid(const Uid& providerUid) {
  Uid uid = providerUid;
  uid[0] = 'M';
  return uid;
}

}  // namespace

Bytes FileStoreEntryId(uint32_t order, const Uid& providerUid) {
  Bytes bytes = Wrapping(order);
  Append(&bytes, kConnectorUid);
  Append(&bytes, StoreUid(providerUid));
  return bytes;
}

Bytes EmbeddedStoreEntryId(uint32_t order, const Uid& providerUid, const Uid& parentProviderUid) {
  Bytes bytes = Wrapping(order);
  Append(&bytes, kEmbeddedStoreSignature);
  Append(&bytes, providerUid);
  Append(&bytes, parentProviderUid);
  Append(&bytes, StoreUid(providerUid));
  return bytes;
}

Bytes MailboxEntryId(const std::string& mailbox) {
  Bytes bytes = Wrapping(0);
  Append(&bytes, kMailboxUid);
  Append(&bytes, mailbox);
  bytes.push_back(0);
  return bytes;
}

std::optional<std::string> MailboxOfEntryId(const Bytes& entryId) {
  const size_t name = kOwnPartOffset + kFlagsSize + kMailboxUid.size();
  if (entryId.size() <= name || entryId.back() != 0) return std::nullopt;
  const auto uid = entryId.begin() + static_cast<ptrdiff_t>(kOwnPartOffset + kFlagsSize);
  if (!std::equal(kMailboxUid.begin(), kMailboxUid.end(), uid)) return std::nullopt;
  return std::string(entryId.begin() + static_cast<ptrdiff_t>(name), entryId.end() - 1);
}

std::optional<Uid> ParentProviderOfEntryId(const Bytes& entryId) {
  const auto found = std::search(entryId.begin(), entryId.end(), kEmbeddedStoreSignature.begin(),
                                 kEmbeddedStoreSignature.end());
  const auto at = static_cast<size_t>(found - entryId.begin());
  if (found == entryId.end() || at <= kFlagsSize) return std::nullopt;
  if (entryId.size() - (at - kFlagsSize) != kEmbeddedPartSize) return std::nullopt;
  Uid parent;
  std::memcpy(parent.data(), entryId.data() + at + 32, parent.size());
  return parent;
}

std::string UidText(const Uid& uid) { return HexFromBytes(uid.data(), uid.size()); }

std::optional<Uid> UidFromText(std::string_view text) {
  Uid uid;
  const auto bytes = BytesFromHex(text);
  if (!bytes || bytes->size() != uid.size()) return std::nullopt;
  std::copy(bytes->begin(), bytes->end(), uid.begin());
  return uid;
}

}  // namespace lab
