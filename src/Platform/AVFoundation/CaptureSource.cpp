#include "CaptureSource.h"

namespace parlowen {

CaptureSource::~CaptureSource() = default;

} // namespace parlowen
