// A white Cairo image of its own with a CDC attached, whose pixels tests read back.
#pragma once

#include <cairo.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include <kwlib63/framework/dc.h>

namespace kwtest {

class Canvas {
 public:
  Canvas(int width, int height)
      : m_surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height)), m_cr(cairo_create(m_surface)) {
    cairo_set_source_rgb(m_cr, 1, 1, 1);
    cairo_paint(m_cr);
    dc.Attach(m_cr);
  }
  ~Canvas() {
    dc.Detach();
    cairo_destroy(m_cr);
    cairo_surface_destroy(m_surface);
  }
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;

  cairo_t* Cairo() const { return m_cr; }
  COLORREF Pixel(int x, int y) {
    cairo_surface_flush(m_surface);
    const unsigned char* row = cairo_image_surface_get_data(m_surface) + y * cairo_image_surface_get_stride(m_surface);
    std::uint32_t value;
    std::memcpy(&value, row + 4 * x, 4);
    return RGB((value >> 16) & 0xFF, (value >> 8) & 0xFF, value & 0xFF);
  }
  // Every pixel's colour, row by row.
  std::vector<COLORREF> Pixels() {
    std::vector<COLORREF> pixels;
    for (int y = 0; y < cairo_image_surface_get_height(m_surface); ++y) {
      for (int x = 0; x < cairo_image_surface_get_width(m_surface); ++x) pixels.push_back(Pixel(x, y));
    }
    return pixels;
  }
  int Count(COLORREF color) {
    const std::vector<COLORREF> pixels = Pixels();
    return static_cast<int>(std::count(pixels.begin(), pixels.end(), color));
  }

  CDC dc;

 private:
  cairo_surface_t* m_surface;
  cairo_t* m_cr;
};

}  // namespace kwtest
