#include <KestrelDatabase/sql/FMStatement.h>

#include <sqlite3.h>

namespace kestrel {

void FMStatement::Finalizer::operator()(sqlite3_stmt* handle) const noexcept {
  sqlite3_finalize(handle);
}

FMStatement::FMStatement(sqlite3_stmt* handle, std::string query)
    : handle_(handle), query_(std::move(query)) {}

FMStatement::~FMStatement() = default;

void FMStatement::reset() {
  if (handle_) sqlite3_reset(handle_.get());
  inUse_ = false;
}

void FMStatement::close() {
  handle_.reset();
  inUse_ = false;
  columnMapBuilt_ = false;
}

void FMStatement::checkColumnMap() {
  if (columnMapBuilt_ && handle_ &&
      sqlite3_stmt_status(handle_.get(), SQLITE_STMTSTATUS_REPREPARE, 0) !=
          columnMapPrepareCount_) {
    columnMapBuilt_ = false;
  }
}

void FMStatement::buildColumnMap() {
  const int count = handle_ ? sqlite3_column_count(handle_.get()) : 0;
  columnMap_.reset(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    const char* name = sqlite3_column_name(handle_.get(), i);
    if (name != nullptr) columnMap_.insert(name, i);
  }
  columnMapPrepareCount_ =
      handle_ ? sqlite3_stmt_status(handle_.get(), SQLITE_STMTSTATUS_REPREPARE, 0) : 0;
  columnMapBuilt_ = handle_ != nullptr;
}

}  // namespace kestrel
