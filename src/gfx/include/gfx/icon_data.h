// The application icon as a PNG: 128 x 128 pixels, RGBA, transparent around its rounded corners.
//
// Generated at build time from packaging/icons/velmora-128.png. The bytes live as long as the
// program and never move, as image_png requires.
#pragma once

#include <cstddef>

namespace icon_data {

extern const unsigned char kPng[];
extern const std::size_t kPngSize;  // in bytes

}  // namespace icon_data
