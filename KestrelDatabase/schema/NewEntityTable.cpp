#include <KestrelDatabase/schema/NewEntityTable.h>

#include <KestrelPlatform/Log.h>

namespace kestrel {

void NewEntityTable::addColumn(const std::string& name, int dataType) {
  addColumn(name, NewEntityColumn::kColumnTypeData, dataType, false);
}

void NewEntityTable::addColumn(const std::string& name, int dataType, bool unique) {
  auto column = NewEntityColumn::initColumn(weak_from_this(), name,
                                            NewEntityColumn::kColumnTypeData, dataType, false);
  column->setIsUnique(unique);
  insertColumn(column);
}

void NewEntityTable::addColumn(const std::string& name, int columnType, int dataType) {
  addColumn(name, columnType, dataType, false);
}

void NewEntityTable::addColumn(const std::string& name, int columnType, int dataType,
                               bool autoIncrement) {
  insertColumn(
      NewEntityColumn::initColumn(weak_from_this(), name, columnType, dataType, autoIncrement));
}

void NewEntityTable::addColumn(const std::string& name, int dataType,
                               const std::string& referencedTable,
                               const std::string& referencedColumn) {
  addColumn(name, dataType, referencedTable, referencedColumn, std::nullopt);
}

void NewEntityTable::addColumn(const std::string& name, int dataType,
                               const std::string& referencedTable,
                               const std::string& referencedColumn,
                               const std::optional<std::string>& referencedOptions) {
  insertColumn(NewEntityColumn::initColumn(weak_from_this(), name,
                                           NewEntityColumn::kColumnTypeForeignKey, dataType,
                                           referencedTable, referencedColumn, referencedOptions));
}

void NewEntityTable::insertColumn(const std::shared_ptr<NewEntityColumn>& column) {
  if (!column) return;
  column->setColumnIndex(static_cast<int>(columns_.size()));
  switch (column->columnType()) {
    case NewEntityColumn::kColumnTypeData:
      columns_.push_back(column);
      break;
    case NewEntityColumn::kColumnTypeForeignKey:
      if (!foreignKeys_) foreignKeys_.emplace();
      foreignKeys_->push_back(column);
      columns_.push_back(column);
      break;
    case NewEntityColumn::kColumnTypePrimaryKey:
      if (!primaryKey_) {
        primaryKey_ = column;
        columns_.push_back(column);
      } else {
        platform::log("DB WARNING: PK already exists");
      }
      break;
    default:
      platform::log("DB WARNING: cannot insert column with unknown column type");
      break;
  }
}

}  // namespace kestrel
