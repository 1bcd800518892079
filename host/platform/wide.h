#pragma once

#include <string>
#include <string_view>

namespace host::platform {

std::wstring wide(const std::string& text);
std::string narrow(std::wstring_view text);

}  // namespace host::platform
