#include "AudioRouting.h"

namespace parlowen {

AudioRouting::~AudioRouting() = default;

} // namespace parlowen
