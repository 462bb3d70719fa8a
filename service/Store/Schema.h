#pragma once

#include "Database.h"

namespace parlowen::service {

/// Throws StoreError for a file that is no database, belongs to another program or to a newer version of this one.
/// Writes nothing.
void requireOwnFile(Database& database);

/// Brings an empty or older database to the newest schema, in one transaction.
void migrate(Database& database);

} // namespace parlowen::service
