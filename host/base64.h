#pragma once

#include <string>

// Standard Base64 (RFC 4648 alphabet, "=" padding, no line breaks) of len bytes.
std::string base64_encode(const unsigned char* data, unsigned len);
