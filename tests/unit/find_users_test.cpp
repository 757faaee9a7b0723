// No profile makes a cache whose records name children that it does not hold. What is printed of
// such a record is the source's own affair, so the source stands here itself.
#include "src/commands/find_users.cpp"

#include <gtest/gtest.h>

#include "tests/unit/captured_output.h"

namespace {

StoreRecord Store(const wchar_t* email, const std::vector<EntryIdBytes>& children = {}) {
  StoreRecord record;
  record.Email = email;
  record.QsfPath = "c:\\qsf\\ann.qsf";
  record.EmbeddedChildren = children;
  return record;
}

std::wstring Shown(const StoreRecord& record, const CStoreManager::StoreMap& stores) {
  const CapturedOutput output;
  PrintStore(record, stores);
  return output.Text();
}

TEST(PrintStore, AnEmbeddedStoreThatIsNotThereIsToldAndLeftOut) {
  const StoreRecord ann = Store(L"ann@example.com", {{1}, {2}, {3}});
  EXPECT_EQ(Shown(ann, {{{1}, Store(L"bob@example.com")}, {{3}, Store(L"dan@example.com")}}),
            L"Email: ann@example.com\n"
            L"Type: QSF store\n"
            L"QSF: ann.qsf\n"
            L"Serious error: *** Embedded store not found ***\n"
            L"Embedded stores: bob@example.com,dan@example.com\n"
            L" \n");
}

TEST(PrintStore, TheListIsEmptyWhenNoEmbeddedStoreIsThere) {
  const StoreRecord ann = Store(L"ann@example.com", {{1}, {2}});
  EXPECT_EQ(Shown(ann, {}),
            L"Email: ann@example.com\n"
            L"Type: QSF store\n"
            L"QSF: ann.qsf\n"
            L"Serious error: *** Embedded store not found ***\n"
            L"Serious error: *** Embedded store not found ***\n"
            L"Embedded stores: \n"
            L" \n");
}

}  // namespace
