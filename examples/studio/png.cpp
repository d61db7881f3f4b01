// png: libpng with fixed settings and without a time, so that the same picture is the same file.
#include "examples/studio/png.hpp"

#include <png.h>

#include <csetjmp>

#include "examples/studio/session.hpp"

namespace studio {

namespace {

void append(png_structp png, png_bytep bytes, size_t size) {
  auto &to = *static_cast<std::vector<uint8_t> *>(png_get_io_ptr(png));
  to.insert(to.end(), bytes, bytes + size);
}

// Nothing in here has a destructor: errors of libpng jump out of it.
bool write(png_structp png, png_infop info, const Picture &picture) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_set_compression_level(png, 6);
  png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_PAETH);
  png_set_IHDR(png, info, static_cast<png_uint_32>(picture.size.width), static_cast<png_uint_32>(picture.size.height),
               8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_set_sRGB(png, info, PNG_sRGB_INTENT_PERCEPTUAL);
  png_write_info(png, info);
  const size_t row = static_cast<size_t>(picture.size.width) * 3;
  for (int y = 0; y < picture.size.height; ++y) png_write_row(png, &picture.bytes[static_cast<size_t>(y) * row]);
  png_write_end(png, info);
  return true;
}

}  // namespace

std::vector<uint8_t> encode_png(const Picture &picture) {
  std::vector<uint8_t> bytes;
  bytes.reserve(picture.bytes.size());
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  if (info) png_set_write_fn(png, &bytes, append, nullptr);
  const bool written = info && write(png, info, picture);
  png_destroy_write_struct(&png, &info);
  if (!written) throw Failure(Text::kNoMemory);
  return bytes;
}

}  // namespace studio
