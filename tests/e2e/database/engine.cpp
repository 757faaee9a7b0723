// The database server on which all tests of this program work. Without it none of them runs, and
// the program fails.
#include <gtest/gtest.h>

#include "lab/bes/odbc_connection.h"
#include "tests/e2e/support/database_lab_test.h"

namespace e2e {
namespace {

class Engine : public ::testing::Environment {
 public:
  void SetUp() override {
    try {
      lab::OdbcConnection connection(lab::OdbcConnectionString(), lab::OdbcTextMode());
      ASSERT_EQ(connection.ProductName(), "PostgreSQL")
          << "scripts/check database runs these tests";
    } catch (const lab::OdbcError& error) {
      FAIL() << error.what();
    }
    UseConfiguredDatabase();
  }
};

const auto* const kEngine = ::testing::AddGlobalTestEnvironment(new Engine);

}  // namespace
}  // namespace e2e
