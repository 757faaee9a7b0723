// MAPI buffers: what MAPIAllocateBuffer, MAPIAllocateMore and MAPIFreeBuffer deal in.
//
// Each buffer has pages of its own, ends at a page that cannot be accessed, and is gone from the
// address space when it is freed; its addresses are not used again. Reading past the end or after
// freeing therefore ends the program.
#pragma once

#include <cstddef>
#include <string>

namespace lab {

// What a buffer is, so that the right function frees it.
enum class BufferKind { kPlain, kRowSet, kRow };

// A buffer of `size` bytes, all zero, aligned to 8. `madeBy` names the call in the account.
// Throws std::bad_alloc.
void* AllocateBuffer(size_t size, const std::string& madeBy, BufferKind kind = BufferKind::kPlain);

// A buffer that is freed together with `parent`, which must be a buffer and no other's child.
// Null when it is not.
void* AllocateMore(size_t size, void* parent);

// Whether `buffer` is one that has not been freed and is no other's child.
bool IsBuffer(void* buffer);
bool IsRowSet(void* buffer);

// Frees the buffer with its children; false when it is none.
bool FreeBuffer(void* buffer);

}  // namespace lab
