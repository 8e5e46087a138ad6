// Marks what the shared libraries export; everything else stays hidden.
#pragma once

#define KORVANI_EXPORT __attribute__((visibility("default")))
