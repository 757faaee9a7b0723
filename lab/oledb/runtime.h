// What the provider has one of in a process. Never destroyed, so that it serves to the very end.
#pragma once

#include "lab/common/fault_plan.h"
#include "lab/common/lab_config.h"
#include "lab/oledb/accounting.h"
#include "lab/oledb/provider_options.h"

namespace lab {

struct Runtime {
  const std::wstring journal = JournalPath();
  const ProviderOptions options = ProviderOptions::Load();
  FaultInjector faults{FaultPlan::Load(LabDirectory())};
  Accounting accounting{journal};
};

inline Runtime& TheRuntime() {
  static Runtime* const runtime = new Runtime;
  return *runtime;
}

}  // namespace lab
