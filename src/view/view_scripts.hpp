#pragma once

#include <string_view>

// The texts the page carries inline, compiled into the library from their files at build time
// (see cmake/EmbedText.cmake): three.js and its orbit controls as Debian's libjs-three installs
// them, and the page's own script and style (src/view/page.js, src/view/page.css).
namespace zor::rob::view {

std::string_view threeScript();
std::string_view orbitControlsScript();
std::string_view pageScript();
std::string_view pageStyle();

}  // namespace zor::rob::view
