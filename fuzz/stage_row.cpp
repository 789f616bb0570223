// Fuzz target: the stage table's row mapping (RowMapperTarget.h).
#include "RowMapperTarget.h"

#include <KestrelDatabase/tables/DBTableStage.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using kestrel::DBTableStage;
  return kestrel::fuzz::runRowMapper<DBTableStage>(
      data, size, [](const kestrel::FMResultSet& row, const DBTableStage::RowLayout& layout) {
        return DBTableStage::mapStageFromResultSet(row, layout);
      });
}
