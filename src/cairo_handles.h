#pragma once

#include <cairo.h>
#include <glib-object.h>
#include <pango/pango.h>

#include <memory>

/// Owners of the C objects that drawing needs.
template <auto Free>
struct FreeWith {
    template <typename Object>
    void operator()(Object* object) const {
        Free(object);
    }
};

using CairoSurface = std::unique_ptr<cairo_surface_t, FreeWith<cairo_surface_destroy>>;
using CairoContext = std::unique_ptr<cairo_t, FreeWith<cairo_destroy>>;
using PangoLayoutPtr = std::unique_ptr<PangoLayout, FreeWith<g_object_unref>>;
