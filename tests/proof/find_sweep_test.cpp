// -findUsers with each of its calls failing once.
#include <gtest/gtest.h>

#include "tests/proof/cache_model.h"
#include "tests/proof/fault_sweep.h"

namespace e2e {
namespace {

class FindFaultSweepTest : public FaultSweepTest {
 protected:
  Words Arguments() const override { return "-findUsers -v -e \"\""; }

  void Walk(ModelRun& run) const override {
    if (run.InitializeMapi()) Find(run);
    run.Print("Exiting.");
  }

 private:
  static void Find(ModelRun& run) {
    run.Print("The Control Handler is installed.");
    CacheModel cache(run);
    const uint32_t status = cache.Load(true);
    if (Fails(status)) {
      run.PrintFailure("FindUsers", "storeManager LoadCache failed", status);
      return;
    }
    for (const auto& [order, record] : cache.Stores()) {
      run.Print("Email: " + MailOf(record.store.name));
      record.store.IsEmbedded() ? ShowEmbedded(run, cache, record.store) : ShowFile(run, record);
      run.Print(" ");
    }
  }

  static void ShowFile(ModelRun& run, const CacheModel::Record& record) {
    std::string children;
    for (const std::string& child : record.children) {
      children += (children.empty() ? "" : ",") + MailOf(child);
    }
    run.Print("Type: QSF store");
    run.Print("QSF: " + record.store.file);
    run.Print("Embedded stores: " + (record.children.empty() ? "none" : children));
  }

  static void ShowEmbedded(ModelRun& run, const CacheModel& cache, const StoreModel& store) {
    run.Print("Type: Embedded store");
    if (const CacheModel::Record* const parent = cache.Find(store.parent)) {
      run.Print("Parent store: " + MailOf(parent->store.name));
      run.Print("Parent QSF: " + parent->store.file);
    } else {
      run.Print("Serious error: *** Parent store not found for '" + MailOf(store.name) + "' ***");
    }
  }
};

TEST_P(FindFaultSweepTest, EachFaultHasTheOutcomeOfTheModel) { Sweep("-findUsers"); }

INSTANTIATE_TEST_SUITE_P(, FindFaultSweepTest, SweepShares(), kByShare);

}  // namespace
}  // namespace e2e
