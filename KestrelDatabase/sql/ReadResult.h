// What every read of the layer delivers: the value it read, or std::nullopt
// when the read failed (the statement could not be prepared, a step ended in
// an error, the connection could not be reopened, the store could not be
// read). The failure is logged once, where it happened. An empty value is a
// read that ran to its end and found nothing; it is never a failure, and a
// failure never reads as "nothing found".
//
// A read of one row or record that may not exist delivers
// ReadResult<std::optional<T>>: std::nullopt when the read failed, an empty
// inner optional when there is no such row.
#pragma once

#include <optional>

namespace kestrel {

template <class T>
using ReadResult = std::optional<T>;

}  // namespace kestrel
