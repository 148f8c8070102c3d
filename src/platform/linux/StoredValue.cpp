#include "platform/linux/StoredValue.h"

#include <limits>
#include <utility>

#include "platform/PropertyList.h"
#include "platform/linux/CompactValue.h"

namespace trovix::platform {
namespace {

/// The kinds as the files have them; they never change.
enum class StoredKind : std::int64_t {
  boolean = 1,
  integer = 2,
  real = 3,
  string = 4,
  data = 5,
  date = 6,
  compound = 7,
};

/// The database keeps what is no number as null.
double readReal(SqliteStatement& row, int column) {
  return row.isNull(column) ? std::numeric_limits<double>::quiet_NaN() : row.real(column);
}

}  // namespace

bool bindStoredValue(SqliteStatement& statement, int kindParameter, int valueParameter, const Value& value,
                     Data& buffer) {
  const auto bindKind = [&](StoredKind kind) { statement.bind(kindParameter, static_cast<std::int64_t>(kind)); };
  switch (value.kind()) {
    case Value::Kind::null:
      return false;
    case Value::Kind::boolean:
      bindKind(StoredKind::boolean);
      statement.bind(valueParameter, value.integerValue());
      return true;
    case Value::Kind::integer:
      bindKind(StoredKind::integer);
      statement.bind(valueParameter, value.integerValue());
      return true;
    case Value::Kind::real:
      bindKind(StoredKind::real);
      statement.bind(valueParameter, value.doubleValue());
      return true;
    case Value::Kind::string:
      bindKind(StoredKind::string);
      statement.bind(valueParameter, std::string_view(*value.string()));
      return value.string()->size() <= maximumPropertyListSize;
    case Value::Kind::data:
      bindKind(StoredKind::data);
      statement.bind(valueParameter, *value.data());
      return value.data()->size() <= maximumPropertyListSize;
    case Value::Kind::date:
      bindKind(StoredKind::date);
      statement.bind(valueParameter, value.date()->secondsSince1970);
      return true;
    case Value::Kind::array:
    case Value::Kind::dictionary:
      bindKind(StoredKind::compound);
      if (auto encoded = encodeCompactly(value)) {
        buffer = std::move(*encoded);
        statement.bind(valueParameter, buffer);
        return true;
      }
      return false;
  }
  return false;
}

std::shared_ptr<const Value> readStoredValue(SqliteStatement& row, int kindColumn, int valueColumn) {
  switch (static_cast<StoredKind>(row.integer(kindColumn))) {
    case StoredKind::boolean:
      return std::make_shared<const Value>(row.integer(valueColumn) != 0);
    case StoredKind::integer:
      return std::make_shared<const Value>(row.integer(valueColumn));
    case StoredKind::real:
      return std::make_shared<const Value>(readReal(row, valueColumn));
    case StoredKind::string:
      return std::make_shared<const Value>(row.bytes(valueColumn));
    case StoredKind::data: {
      const std::string_view bytes = row.bytes(valueColumn);
      return std::make_shared<const Value>(Data(bytes.begin(), bytes.end()));
    }
    case StoredKind::date:
      return std::make_shared<const Value>(Date{readReal(row, valueColumn)});
    case StoredKind::compound:
      if (auto value = decodeCompactly(row.bytes(valueColumn))) return std::make_shared<const Value>(std::move(*value));
      return nullptr;
  }
  return nullptr;
}

}  // namespace trovix::platform
