#include "Picture.h"

#include <png.h>
#include <stdexcept>

namespace parlowen::service {

std::string toPng(const Picture& picture) {
    static_assert(sizeof(Pixel) == 4);
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(picture.width);
    image.height = static_cast<png_uint_32>(picture.height);
    image.format = PNG_FORMAT_RGBA;
    image.flags = PNG_IMAGE_FLAG_FAST;
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
    std::string bytes(size, '\0');
    if (png_image_write_to_memory(&image, bytes.data(), &size, 0, picture.pixels.data(), 0, nullptr) == 0)
        throw std::runtime_error(std::string("cannot write a PNG picture: ") + image.message);
    bytes.resize(size);
    return bytes;
}

} // namespace parlowen::service
