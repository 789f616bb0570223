// Fuzz target: the event table's row mapping (RowMapperTarget.h).
#include "RowMapperTarget.h"

#include <KestrelDatabase/tables/DBTableEvent.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using kestrel::DBTableEvent;
  return kestrel::fuzz::runRowMapper<DBTableEvent>(
      data, size, [](const kestrel::FMResultSet& row, const DBTableEvent::RowLayout& layout) {
        return DBTableEvent::mapEventFromResultSet(row, layout);
      });
}
