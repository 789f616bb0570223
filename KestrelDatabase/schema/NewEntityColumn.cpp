#include <KestrelDatabase/schema/NewEntityColumn.h>

#include <KestrelPlatform/Log.h>

#include <utility>

namespace kestrel {

NewEntityColumn::NewEntityColumn(std::weak_ptr<NewEntityTable> parentTable, std::string name,
                                 int columnType, int dataType, bool autoIncrement)
    : isAutoIncrement_(autoIncrement),
      isUnique_(columnType == kColumnTypePrimaryKey),
      parentTable_(std::move(parentTable)),
      columnType_(columnType),
      columnDataType_(dataType),
      columnName_(std::move(name)) {}

std::shared_ptr<NewEntityColumn> NewEntityColumn::initColumn(
    std::weak_ptr<NewEntityTable> parentTable, std::string name, int dataType) {
  return initColumn(std::move(parentTable), std::move(name), kColumnTypeData, dataType, false);
}

std::shared_ptr<NewEntityColumn> NewEntityColumn::initColumn(
    std::weak_ptr<NewEntityTable> parentTable, std::string name, int columnType, int dataType) {
  return initColumn(std::move(parentTable), std::move(name), columnType, dataType, false);
}

std::shared_ptr<NewEntityColumn> NewEntityColumn::initColumn(
    std::weak_ptr<NewEntityTable> parentTable, std::string name, int columnType, int dataType,
    bool autoIncrement) {
  return std::make_shared<NewEntityColumn>(std::move(parentTable), std::move(name), columnType,
                                           dataType, autoIncrement);
}

std::shared_ptr<NewEntityColumn> NewEntityColumn::initColumn(
    std::weak_ptr<NewEntityTable> parentTable, std::string name, int columnType, int dataType,
    std::string referencedTable, std::string referencedColumn) {
  return initColumn(std::move(parentTable), std::move(name), columnType, dataType,
                    std::move(referencedTable), std::move(referencedColumn), std::nullopt);
}

std::shared_ptr<NewEntityColumn> NewEntityColumn::initColumn(
    std::weak_ptr<NewEntityTable> parentTable, std::string name, int columnType, int dataType,
    std::string referencedTable, std::string referencedColumn,
    std::optional<std::string> referencedOptions) {
  auto column = initColumn(std::move(parentTable), std::move(name), columnType, dataType, false);
  column->referencedTable_ = std::move(referencedTable);
  column->referencedColumn_ = std::move(referencedColumn);
  column->referencedOptions_ = std::move(referencedOptions);
  column->isForeignKeyColumn_ = true;
  return column;
}

std::string NewEntityColumn::stringColumnDataType() const {
  switch (columnDataType_) {
    case kDataTypeInteger:
    case kDataTypeIntegerAlt:
      return "INTEGER";
    case kDataTypeText:
      return "TEXT";
    default:
      platform::log("DB WARNING: no column datatype is set");
      return "TEXT";
  }
}

std::string NewEntityColumn::stringColumnType() const {
  switch (columnType_) {
    case kColumnTypePrimaryKey:
      return "PK";
    case kColumnTypeForeignKey:
      return "FK";
    case kColumnTypeData:
      return "DATA";
    default:
      platform::log("DB WARNING: no column type is set.");
      return "DATA";
  }
}

bool NewEntityColumn::isEqual(const std::shared_ptr<const NewEntityColumn>& other) const {
  return other != nullptr && other->columnName_ == columnName_;
}

}  // namespace kestrel
