// Rows of attribute values with their records' keys, stored flat (one
// vector of values, `width` per row) so that reading many records costs no
// allocation per row. Fetches that ask for properties return these; the
// store hands its rows over in the same form.
//
// Thread-safety: a plain value.
#pragma once

#include <KestrelPlatform/ObjectStore/ObjectValue.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace kestrel::platform {

class ValueRows {
 public:
  ValueRows() = default;
  explicit ValueRows(std::size_t width) : width_(width) {}

  /// Values per row.
  std::size_t width() const { return width_; }
  std::size_t size() const { return keys_.size(); }
  bool empty() const { return keys_.empty(); }

  /// The values of a row, in the order they were asked for.
  std::span<const ObjectValue> operator[](std::size_t row) const {
    return {values_.data() + row * width_, width_};
  }
  std::span<ObjectValue> operator[](std::size_t row) { return {values_.data() + row * width_, width_}; }
  /// The primary key of a row's record.
  std::int64_t key(std::size_t row) const { return keys_[row]; }

  /// Starts a row; its `width` values follow with appendValue().
  void appendKey(std::int64_t key) { keys_.push_back(key); }
  void appendValue(ObjectValue value) { values_.push_back(std::move(value)); }
  void reserve(std::size_t rows) {
    keys_.reserve(rows);
    values_.reserve(rows * width_);
  }

  class Iterator {
   public:
    Iterator(const ValueRows* rows, std::size_t row) : rows_(rows), row_(row) {}
    std::span<const ObjectValue> operator*() const { return (*rows_)[row_]; }
    Iterator& operator++() {
      ++row_;
      return *this;
    }
    bool operator!=(const Iterator& other) const { return row_ != other.row_; }

   private:
    const ValueRows* rows_;
    std::size_t row_;
  };
  Iterator begin() const { return {this, 0}; }
  Iterator end() const { return {this, size()}; }

 private:
  std::size_t width_ = 0;
  std::vector<std::int64_t> keys_;
  std::vector<ObjectValue> values_;
};

}  // namespace kestrel::platform
