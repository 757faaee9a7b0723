// -checkQsf with each of its calls failing once.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "tests/proof/cache_model.h"
#include "tests/proof/fault_sweep.h"
#include "tests/proof/logon_model.h"

namespace e2e {
namespace {

class CheckFaultSweepTest : public FaultSweepTest {
 protected:
  Words Arguments() const override { return "-checkQsf -c -v"; }

  void Walk(ModelRun& run) const override {
    if (run.InitializeMapi()) {
      if (!Fails(Check(run))) run.StartController();
      run.Print("Done");
    }
    run.Print("Exiting.");
  }

 private:
  static uint32_t Check(ModelRun& run) {
    run.Print("The Control Handler is installed.");
    CacheModel cache(run);
    uint32_t status = cache.Load(true);
    if (Fails(status)) {
      run.PrintFailure("CheckQsf", "storeManager LoadCache failed", status);
      return status;
    }
    const Strings names = cache.Names();
    run.Print("CheckQsf: Checking " + std::to_string(names.size()) + " MAPI stores...");
    std::map<std::string, uint32_t> results;
    status = LogonToStores(run, names, LogonMode::kCheck, &results);
    if (Fails(status)) {
      run.PrintFailure("CheckQsf", "LogonToStores failed", status);
      return status;
    }
    for (const std::string& name : names) {
      if (!Fails(results[name])) continue;
      run.PrintFailure("CheckQsf", "Logon failed for '" + MailOf(name) + "'", results[name]);
      status = kFail;
    }
    if (!Fails(status)) run.Print("All stores are OK");
    run.Print("Shutting down stores...");
    return status;
  }
};

TEST_P(CheckFaultSweepTest, EachFaultHasTheOutcomeOfTheModel) { Sweep("-checkQsf"); }

INSTANTIATE_TEST_SUITE_P(, CheckFaultSweepTest, SweepShares(), kByShare);

}  // namespace
}  // namespace e2e
