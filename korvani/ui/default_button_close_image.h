// The default close image of the pop-ups: the base64 text of default_button_close_image.png, 75 by
// 75 pixels. Made by make_close_image.py; change that instead.
#pragma once

#include <string_view>

namespace korvani::ui {

// clang-format off
inline constexpr std::string_view kDefaultButtonCloseImage =
    "iVBORw0KGgoAAAANSUhEUgAAAEsAAABLCAYAAAA4TnrqAAAAAXNSR0IArs4c6QAAAttJREFUeNrtnC92AjEQxlcgVnCA"
    "ikokB+AQCAQSiURwC0QlohKBRHAMDlCBQCA5AAI5TWhoWbpk8282Wfb73hvTRze7v5dJJpNJMiLKIlhP2FjYQthG2E7Y"
    "UdiZijqrv+/U7xbq/3ox3ruuhrrCJsLWwk4URif1vIl6fuNhDVWPuBCvLqqdYdNg5cJmwg4URwfVfp4yrI6waUA3C+Gm"
    "U/VeScEaCPuiNPWl3i86LNnVl9QMLX1d0wdUP+HepOtl/bphjUpioqborN6/Flhzeg3NuWF90GvpgwvWq4GyBtY21/Ny"
    "SdPBvA0a+cLqN3jWc5kl+66w8gbGUSHisNwF1pLaqaUtrAG1WwNTWJ0Wul+ZO3ZMYE0JIsVBCytPKB+VQj4s18GagVFB"
    "Mx0sjlTwUdiKeHLxt9z7SrUTWodnsIYMjX0+DJTvwvaBnr1Xz7ufmD4ZvmFYBmvD0KPK8t9vAYDt1XPKZvLQPWzzCKvL"
    "4CIrTcDrA+wZqJutGFy9ew9rwtB9NxXrThdgVaA4PIQUn19Ya4YGLg9jii8wE1DvxLOhu76HxRVbmXygCbBQz/GJubJb"
    "kQanfD80NqiberKhcQ3BnesHpwJKaiwbW9QUDdt+eEqgpBZcs4cvsG1ioK6zu2x0V/N6ywRYlhgoqV3GtKbiBBYD1HVF"
    "IhuPtSHhAiwWKKlzFjkFYgMsJqirYsMiNZibwNrGflH0LEtYGLMsxizMhhazIeIsizgLEbxFBI+1ocXaEFkHi6wD8lkW"
    "+SxkSqv1mylFDr5ahRw8dnf0KuzuYN9Q7yGFfUPsSBt4CGodqlVa64Aqmv96WkWD+qz/0tZnofKvGFtpK/9QU/qnyppS"
    "VCv/yLhaGXXwFnXwOGGBszvG7ud0dgenwnDe8Km8zxviJCvOSBcU/Iw0Tt/jXgfcGGIy69V2YwjuoiHccoT7syih+7Nw"
    "M1sA18Sdfw6G2yQdDPeUelgjb8D9BtNHHqW6+bLDAAAAAElFTkSuQmCC";
// clang-format on

}  // namespace korvani::ui
