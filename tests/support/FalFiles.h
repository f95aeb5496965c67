// Test support without GoogleTest: whole-file reads.
#pragma once

#include <fstream>
#include <sstream>
#include <string>

// The whole content of a file, "" when it cannot be read.
inline std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return "";
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}
