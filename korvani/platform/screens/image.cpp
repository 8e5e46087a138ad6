// Anchors the image type, which each phone derives from.
#include <korvani/platform/screens/image.h>

namespace korvani::platform {

Image::~Image() = default;

}  // namespace korvani::platform
