// Which store an entry ID is said to be embedded in: the provider's UID in a block of 68 bytes at
// the end, found by the first signature beyond offset 4.
#include "src/stores/entry_id.h"

#include "tests/fuzz/fuzz.h"

namespace {

constexpr uint8_t kSignature[] = {0xBE, 0x4A, 0x31, 0x10, 0x2A, 0x0B, 0xDC, 0x46,
                                  0xB4, 0xB2, 0x49, 0x2A, 0xEB, 0xB3, 0x84, 0xCB};

// Where the signature first lies; the size when nowhere.
size_t FirstSignature(const std::vector<uint8_t>& bytes) {
  for (size_t at = 0; at + 16 <= bytes.size(); ++at) {
    if (std::memcmp(&bytes[at], kSignature, 16) == 0) return at;
  }
  return bytes.size();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  // With signatures at places of the input's choice, since chance does not write one.
  std::vector<size_t> places(input.Below(3));
  for (size_t& place : places) place = input.Byte();
  std::vector<uint8_t> bytes = input.AllBytes();
  for (const size_t place : places) {
    if (place + 16 <= bytes.size()) std::copy_n(kSignature, 16, bytes.begin() + place);
  }

  const auto uid = EmbeddedParentProvider(bytes);
  const size_t at = FirstSignature(bytes);
  const bool isEmbedded = at > 4 && at < bytes.size() && bytes.size() - (at - 4) == 68;
  CLAIM(uid.has_value() == isEmbedded);
  if (uid) CLAIM(std::memcmp(&*uid, &bytes[at + 32], 16) == 0);
  return 0;
}
