// Entry IDs of the connector's stores.
//
// A store's entry ID is wrapped: four flag bytes, MUIDStoreWrap, a version byte, a flag byte and
// the provider's module name "qrvms.dll" with its zero; the store's own part follows at offset 32.
// Its first byte is zero, and the next three are the store's order, most significant byte first:
// with the wrapping alike in all of them, it decides how entry IDs compare byte by byte.
//
//   file store       0, order[3], connector UID[16], store UID[16]
//   embedded store   0, order[3], signature[16], provider UID[16], parent's provider UID[16],
//                    store UID[16]                                    (exactly 68 bytes)
//   mailbox          0, 0, 0, 0, mailbox UID[16], the mailbox's name in the ANSI code page and a
//                    zero
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "lab/common/text.h"

namespace lab {

using Uid = std::array<uint8_t, 16>;

// What marks an embedded store's entry ID: {10314ABE-0B2A-46DC-B4B2-492AEBB384CB} as it lies in
// memory.
inline constexpr Uid kEmbeddedStoreSignature = {0xBE, 0x4A, 0x31, 0x10, 0x2A, 0x0B, 0xDC, 0x46,
                                                0xB4, 0xB2, 0x49, 0x2A, 0xEB, 0xB3, 0x84, 0xCB};

// Offset of the store's own part in an entry ID of the lab.
inline constexpr size_t kOwnPartOffset = 32;
// Size of an embedded store's own part.
inline constexpr size_t kEmbeddedPartSize = 68;

// Orders have three bytes of an entry ID: they lie below this number.
inline constexpr uint32_t kOrderLimit = 1u << 24;

Bytes FileStoreEntryId(uint32_t order, const Uid& providerUid);
Bytes EmbeddedStoreEntryId(uint32_t order, const Uid& providerUid, const Uid& parentProviderUid);

// The form that names a mailbox instead of a store; `mailbox` is in the ANSI code page.
Bytes MailboxEntryId(const std::string& mailbox);
// The mailbox named by an entry ID of that form; none for any other entry ID.
std::optional<std::string> MailboxOfEntryId(const Bytes& entryId);

// The parent's provider UID when `entryId` has an embedded store's form (the signature anywhere
// behind offset 4, with exactly 68 bytes from four bytes before it to the end).
std::optional<Uid> ParentProviderOfEntryId(const Bytes& entryId);

// A UID as 32 lower-case hexadecimal digits, which is how the registry names a profile section.
std::string UidText(const Uid& uid);
// Back from either letter case; none when `text` is no UID.
std::optional<Uid> UidFromText(std::string_view text);

}  // namespace lab
