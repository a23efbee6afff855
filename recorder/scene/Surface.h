#pragma once

#include <cairo.h>

#include <cstdint>
#include <stdexcept>

namespace recorder
{

/// A Cairo picture with its context. One thread at a time.
class Surface
{
  public:
    Surface(int width, int height, cairo_format_t format = CAIRO_FORMAT_RGB24)
        : Surface(cairo_image_surface_create(format, width, height))
    {
    }
    /// Over pixels of the caller (blue, green, red, unused; no gaps between rows), which outlive it.
    Surface(uint8_t* pixels, int width, int height)
        : Surface(cairo_image_surface_create_for_data(pixels, CAIRO_FORMAT_RGB24, width, height, 4 * width))
    {
    }
    ~Surface()
    {
        cairo_destroy(m_Context);
        cairo_surface_destroy(m_Surface);
    }
    Surface(const Surface&) = delete;
    Surface& operator=(const Surface&) = delete;

    cairo_t* Context() const { return m_Context; }
    cairo_surface_t* GetSurface() const { return m_Surface; }
    const uint8_t* Pixels() const
    {
        cairo_surface_flush(m_Surface);
        return cairo_image_surface_get_data(m_Surface);
    }

    /// Calls with the pixels, to be changed between drawings.
    template <class Work>
    void Change(const Work& change)
    {
        cairo_surface_flush(m_Surface);
        change(cairo_image_surface_get_data(m_Surface));
        cairo_surface_mark_dirty(m_Surface);
    }

  private:
    explicit Surface(cairo_surface_t* surface) : m_Surface(surface), m_Context(cairo_create(surface))
    {
        if (cairo_status(m_Context) == CAIRO_STATUS_SUCCESS) return;
        cairo_destroy(m_Context);
        cairo_surface_destroy(m_Surface);
        throw std::runtime_error("no memory for a picture");
    }

    cairo_surface_t* m_Surface;
    cairo_t* m_Context;
};

}  // namespace recorder
