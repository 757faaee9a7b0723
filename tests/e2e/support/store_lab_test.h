// The frame of a test whose program works on the stores of one profile.
//
//   TEST_F(FindUsersTest, AnEmbeddedStore) {
//     AddEmbedded(L"bob", Add(L"ann"));
//     EXPECT_EQ(Run({L"-findUsers", L"-p", L"Main", L"-e", L"bob"}), Text({...}));
//   }
#pragma once

#include <string>

#include "lab/common/installation.h"
#include "tests/e2e/support/lab_test.h"

namespace e2e {

using Options = lab::StoreOptions;

// `options` with one of them set.
template <class Member, class Value>
Options With(Member Options::*member, const Value& value, Options options = {}) {
  options.*member = value;
  return options;
}

class StoreLabTest : public LabTest {
 protected:
  // A store of <name>@example.com in the file <name>.qsf.
  lab::Service Add(const std::wstring& name, const Options& options = {}) const {
    return profile_.AddSecondaryStore(name + L"@example.com", StorePath(name + L".qsf"), options);
  }

  // The same embedded in another store, and without the store that it is embedded in.
  lab::Service AddEmbedded(const std::wstring& name, const lab::Service& parent,
                           const Options& options = {}) const {
    return profile_.AddEmbeddedStore(name + L"@example.com", parent, options);
  }
  lab::Service AddOrphan(const std::wstring& name, const Options& options = {}) const {
    return profile_.AddOrphan(name + L"@example.com", options);
  }

  const lab::Profile profile_{L"Main"};
};

}  // namespace e2e
