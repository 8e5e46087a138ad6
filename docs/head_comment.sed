#!/usr/bin/sed -f
# Makes the comment that a header begins with one that Doxygen reads.
1i /// @file
1,/^#pragma once/{
  s|/\*[^*]*\*/||
  s|^//   |///     |
  t
  s|^//|///|
}
