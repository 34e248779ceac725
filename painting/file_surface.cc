#include "painting/file_surface.h"

#include <cairo-svg.h>

#include <cmath>
#include <memory>

namespace painting {

cairo_status_t AppendBytes(void* bytes, const unsigned char* data, unsigned int length) {
  static_cast<std::string*>(bytes)->append(reinterpret_cast<const char*>(data), length);
  return CAIRO_STATUS_SUCCESS;
}

bool DrawFile(EFormat format, double width, double height, const std::function<void(cairo_t*)>& draw,
              std::string* bytes, std::string* error) {
  bytes->clear();
  const std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> surface(
      format == EFormat::kSvg ? cairo_svg_surface_create_for_stream(AppendBytes, bytes, width, height)
                              : cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(std::lround(width)),
                                                           static_cast<int>(std::lround(height))),
      cairo_surface_destroy);
  if (format == EFormat::kSvg) cairo_svg_surface_set_document_unit(surface.get(), CAIRO_SVG_UNIT_PX);
  cairo_t* context = cairo_create(surface.get());
  draw(context);
  cairo_status_t status = cairo_status(context);
  cairo_destroy(context);
  if (status == CAIRO_STATUS_SUCCESS && format == EFormat::kPng) {
    status = cairo_surface_write_to_png_stream(surface.get(), AppendBytes, bytes);
  }
  cairo_surface_finish(surface.get());
  if (status == CAIRO_STATUS_SUCCESS) status = cairo_surface_status(surface.get());
  if (status != CAIRO_STATUS_SUCCESS) *error = std::string("the picture failed: ") + cairo_status_to_string(status);
  return status == CAIRO_STATUS_SUCCESS;
}

}  // namespace painting
