// -compactQsf with each of its calls failing once.
#include <gtest/gtest.h>

#include "tests/proof/cache_model.h"
#include "tests/proof/fault_sweep.h"

namespace e2e {
namespace {

constexpr Step kOpenProfile[] = {{"MAPIAdminProfiles", "MAPIAdminProfiles failed"},
                                 {"IProfAdmin::AdminServices", "AdminServices failed"}};

class CompactFaultSweepTest : public FaultSweepTest {
 protected:
  Words Arguments() const override { return "-compactQsf -c -v"; }
  // That of the last compaction thread, where it makes any.
  uint32_t ShortPlace(uint32_t count) const override { return count; }

  void Walk(ModelRun& run) const override {
    if (run.InitializeMapi()) {
      Compact(run);
      run.StartController();
    }
    run.Print("Exiting.");
  }

 private:
  static void Compact(ModelRun& run) {
    // It is installed twice.
    run.Print("The Control Handler is installed.");
    run.Print("The Control Handler is installed.");
    CacheModel cache(run);
    const uint32_t status = cache.Load(true);
    if (Fails(status)) {
      run.PrintFailure("CompactQsf", "storeManager LoadCache failed", status);
      return;
    }
    if (Fails(run.TakeAll(kOpenProfile, "CompactQsf"))) return;
    for (const auto& [order, record] : cache.Stores()) {
      if (!record.store.IsEmbedded()) CompactStore(run, record.store);
    }
  }

  static void CompactStore(ModelRun& run, const StoreModel& store) {
    run.Print("compacting " + MailOf(store.name));
    const uint32_t result = RunThread(run, store);
    if (Fails(result)) {
      run.PrintResult("Compact failed for '" + MailOf(store.name) + "'", result);
    } else {
      run.Print("Compacting done");
    }
  }

  // The result that the thread leaves: when it does not get as far as to compact, that of nothing.
  static uint32_t RunThread(ModelRun& run, const StoreModel& store) {
    const bool withMapi = !Fails(run.calls.Make("MAPIInitialize"));
    if (!withMapi) {
      run.PrintFailure("CompactQsfThread", "MAPIAdminProfiles failed", kNotInitialized);
      return 0;
    }
    if (Fails(run.TakeAll(kOpenProfile, "CompactQsfThread"))) {
      // The thread ends without giving MAPI back.
      run.leaks.push_back("MAPIInitialize without MAPIUninitialize, 1 times");
      return 0;
    }
    const uint32_t result = run.calls.Make("IMsgServiceAdmin::ConfigureMsgService");
    if (!Fails(result)) run.world.files[store.file].compact = true;
    return result;
  }
};

TEST_P(CompactFaultSweepTest, EachFaultHasTheOutcomeOfTheModel) { Sweep("-compactQsf"); }

INSTANTIATE_TEST_SUITE_P(, CompactFaultSweepTest, SweepShares(), kByShare);

}  // namespace
}  // namespace e2e
