// The model of the connection to the configuration database and of the statements on it.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/proof/model_run.h"

namespace e2e {

class DatabaseModel {
 public:
  explicit DatabaseModel(ModelRun& run) : run_(run) {}

  // Read the servers, and the users of one, of which there are so many. Return the result.
  uint32_t GetServers(uint32_t count);
  uint32_t GetServerUserNames(uint32_t count);

  // Runs a batch of updates, the agents of users, on a connection that is there.
  using Batch = std::vector<std::pair<std::string, int>>;
  uint32_t Execute(const Batch& batch);

 private:
  // A column of a result, and what is printed when a row has no value of it.
  struct Column {
    std::string name;
    std::string missing;
    bool mayBeNull;  // NULL counts as no value
  };
  using Columns = std::vector<Column>;

  uint32_t Connect();
  uint32_t Read(const std::string& function, const Columns& columns, uint32_t rows);
  uint32_t Move(bool toFirst, bool toRow);
  // Whether the first row has the columns, and whether a row has their values.
  bool HasColumns(const std::string& function, const Columns& columns);
  bool HasValues(const std::string& function, const Columns& columns);

  ModelRun& run_;
  bool connected_ = false;
};

}  // namespace e2e
