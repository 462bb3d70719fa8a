#pragma once

#include "Sheet.h"

namespace parlowen::screenshots {

/// Lays the groups out in rows and the rows on pages of about 2070 × 2400 pixels under the title. A group that is wider
/// than a page is taken apart.
std::vector<QImage> drawPages(const QString& title, const std::vector<Sheet::Group>& groups);

} // namespace parlowen::screenshots
