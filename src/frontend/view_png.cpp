// PNG encoding of a picture through libpng's simplified interface (8-bit
// RGB, no time or text chunks, so the same picture gives the same bytes).
#include <png.h>

#include <climits>

#include "frontend/view.h"

bool ViewEncodePNG(const ViewPicture &picture, std::vector<uint8_t> *png, std::string *error) {
  png->clear();
  if (picture.width <= 0 || picture.height <= 0 ||
      picture.rgb.size() != 3 * static_cast<size_t>(picture.width) * picture.height ||
      picture.width > INT_MAX / 3) {
    *error = "picture has no pixels";
    return false;
  }
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(picture.width);
  image.height = static_cast<png_uint_32>(picture.height);
  image.format = PNG_FORMAT_RGB;
  const png_int_32 stride = 3 * picture.width;
  // First call: the size; second: the bytes.
  png_alloc_size_t size = 0;
  if (png_image_write_to_memory(&image, nullptr, &size, 0, picture.rgb.data(), stride, nullptr) && size > 0) {
    png->resize(size);
    if (png_image_write_to_memory(&image, png->data(), &size, 0, picture.rgb.data(), stride, nullptr)) {
      png->resize(size);
      png_image_free(&image);
      return true;
    }
  }
  *error = std::string("PNG encoding failed: ") + image.message;
  png_image_free(&image);
  png->clear();
  return false;
}
