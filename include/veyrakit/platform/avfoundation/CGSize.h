#pragma once

namespace veyrakit {

// A width and a height in points, as the platform's geometry keeps them; used for an item's
// presentation size and a movie's natural size.
struct CGSize {
    double width;
    double height;
};

inline constexpr CGSize CGSizeZero{0.0, 0.0};

inline constexpr CGSize CGSizeMake(double width, double height) { return CGSize{width, height}; }

inline constexpr bool CGSizeEqualToSize(const CGSize& size1, const CGSize& size2) {
    return size1.width == size2.width && size1.height == size2.height;
}

}  // namespace veyrakit
