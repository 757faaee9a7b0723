// The model of the store cache that all profile commands begin with.
#pragma once

#include <map>
#include <string>

#include "tests/proof/model_run.h"

namespace e2e {

class CacheModel {
 public:
  struct Record {
    StoreModel store;
    Strings children = {};  // the names of the stores that are embedded in it
  };

  explicit CacheModel(ModelRun& run) : run_(run) {}

  // Reads the profile, with the root's store or without it. Returns the last step's result.
  uint32_t Load(bool includeRoot);

  // In the order of their entry IDs.
  const std::map<uint32_t, Record>& Stores() const { return stores_; }
  Strings Names() const;
  const Record* Find(const std::string& name) const;

 private:
  // Each is false when the load ends with it.
  bool LoadService(const StoreModel& service, int index);
  bool FindProvider(const StoreModel& service);
  bool ReadProvider(const StoreModel& service);
  bool AddEmbedded(const StoreModel& service);

  // Takes steps; false when one has failed.
  template <class Steps>
  bool Pass(const Steps& steps);
  // Makes the calls whose failure is told to nobody; false when one has failed.
  bool Succeed(const Strings& operations);

  void Link();
  void DeleteOrphan(const StoreModel& orphan);

  ModelRun& run_;
  uint32_t status_ = 0;
  std::map<uint32_t, Record> stores_;
};

}  // namespace e2e
