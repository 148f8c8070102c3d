#pragma once

#include <memory>

#include "platform/linux/SqliteDatabase.h"
#include "trovix/Value.h"

// How one value of the user defaults is kept in a row: a kind, and the value in the database's own type; arrays and
// dictionaries in the compact form.
namespace trovix::platform {

/// Binds the value to the two parameters. `buffer` holds what the value was encoded into and, like the value, must
/// live until the statement is reset. False when the value cannot be kept: too large or nested too deep.
[[nodiscard]] bool bindStoredValue(SqliteStatement& statement, int kindParameter, int valueParameter,
                                   const Value& value, Data& buffer);
/// The value of the row's two columns, or a null pointer when they make no sense.
[[nodiscard]] std::shared_ptr<const Value> readStoredValue(SqliteStatement& row, int kindColumn, int valueColumn);

}  // namespace trovix::platform
