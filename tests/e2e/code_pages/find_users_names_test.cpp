// -findUsers: addresses, profiles and store files with names of the code page's letters and of
// others.
#include <gtest/gtest.h>

#include <string>

#include "tests/e2e/code_pages/names.h"
#include "tests/e2e/support/lab_test.h"
#include "tests/e2e/support/output.h"

namespace e2e {
namespace {

class FindUsersNamesTest : public LabTest {
 protected:
  FindUsersNamesTest() {
    profile_ = lab::Profile(letters_.word + kLacking);
    domain_.clear();
  }

  std::string Find(const Words& fragments) {
    return Run(Words{L"-findUsers", L"-p", profile_.Name(), L"-e"} + fragments);
  }

  // What is shown of a store of that address in that file.
  static std::string Shown(const std::wstring& address, const std::wstring& file) {
    return Text({"Email: " + Utf8FromWide(address), "Type: QSF store",
                 "QSF: " + Utf8FromWide(file) + ".qsf", "Embedded stores: none", " "});
  }

  const Letters letters_ = LettersOfCodePage();
};

// Each in a folder of the same name, and without a folder; each with an embedded store.
TEST_F(FindUsersNamesTest, FilesAreShownWithTheirWholeNames) {
  std::string expected;
  for (const Name& name : letters_.hard) {
    const std::wstring file = name.written + L".QSF";
    const std::string shown = Utf8FromWide(name.folded) + ".qsf";
    for (const std::wstring& path : {StorePath(name.written + L"\\" + file), file}) {
      const lab::Service own = profile_.AddSecondaryStore(L"own", path, {.withFile = false});
      AddEmbedded(L"in it", own, {.withFile = false});
      expected += Text({"Email: own", "Type: QSF store", "QSF: " + shown, "Embedded stores: in it",
                        " ", "Email: in it", "Type: Embedded store", "Parent store: own",
                        "Parent QSF: " + shown, " "});
    }
  }
  EXPECT_EQ(Find("\"\""), expected);
}

TEST_F(FindUsersNamesTest, AddressesAreFoundAndShownWithAToZInLowerCase) {
  const std::wstring& small = letters_.word;
  const auto& [capitals, folded] = letters_.capitals;
  Add(small);
  Add(capitals);
  Add(kLacking);
  EXPECT_EQ(Find({small}), Shown(small, small));
  EXPECT_EQ(Find({folded}), Shown(folded, folded));
  EXPECT_EQ(Find({capitals}), "");
  EXPECT_EQ(Find({kLacking, folded}), Shown(folded, folded) + Shown(kLacking, kLackingShown));
}

TEST_F(FindUsersNamesTest, EmbeddedStoresAreShownWithTheirNames) {
  const lab::Service own =
      profile_.AddSecondaryStore(letters_.capitals.written, StorePath(letters_.word + L".qsf"));
  AddEmbedded(letters_.word, own);
  AddEmbedded(kLacking, own);
  AddOrphan(letters_.word + L"-orphan");
  const std::string address = Utf8FromWide(letters_.capitals.folded);
  const std::string word = Utf8FromWide(letters_.word);
  const std::string noParent =
      "Serious error: *** Parent store not found for '" + word + "-orphan' ***";
  EXPECT_EQ(Find({letters_.capitals.folded, L"orphan"}),
            Text({noParent, "Deleting orphan embedded store.", "DeleteMsgService : 0x0",
                  "Email: " + address, "Type: QSF store", "QSF: " + word + ".qsf",
                  "Embedded stores: " + word + "," + Utf8FromWide(kLacking), " ",
                  "Email: " + word + "-orphan", "Type: Embedded store", noParent, " "}));
  EXPECT_EQ(Find({kLacking}),
            Text({"Email: " + Utf8FromWide(kLacking), "Type: Embedded store",
                  "Parent store: " + address, "Parent QSF: " + word + ".qsf", " "}));
}

}  // namespace
}  // namespace e2e
