#pragma once

#include "marovin/MarovinExport.h"

#include <stdexcept>
#include <string>

namespace marovin {

/// The one error type of the query model: a missing position or key, a duplicate key, a text that
/// is no boolean, a sub-query table without its query, an unreadable document.
class MAROVIN_EXPORT ModelError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace marovin
