#pragma once

#include "marovin/MarovinExport.h"

#include <stdexcept>
#include <string>

namespace marovin {

/// A failure reported by a database driver; what() is the driver's description. Raised only by
/// DbSession; the services of cDbConnection catch it and answer with their own texts.
class MAROVIN_EXPORT DbError : public std::runtime_error {
public:
    explicit DbError(const std::string& description) : std::runtime_error(description) {}
};

} // namespace marovin
