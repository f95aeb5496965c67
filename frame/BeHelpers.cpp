#include "frame/BeHelpers.h"

#include <cstdio>
#include <cstring>
#include <sstream>

#include "host/TreeMapObject.h"

char* BE_PairVal2(FAL_PARAMS_T params, const char* name)
{
    if (!name)
        return nullptr;
    for (const auto& pair : params) {
        if (strcmp(pair.first.c_str(), name) == 0)
            return BE_DuplicateStr(pair.second);
    }
    return nullptr;
}

char* BE_DuplicateStr(std::string s)
{
    if (s.empty())
        return nullptr;
    char* copy = new char[s.size() + 1];
    memcpy(copy, s.c_str(), s.size() + 1);
    return copy;
}

std::vector<std::string> BE_StrSplit(const char* text, char delimiter)
{
    std::vector<std::string> fields;
    if (!text)
        return fields;
    std::istringstream in(text);
    std::string field;
    while (std::getline(in, field, delimiter))
        fields.push_back(field);
    return fields;
}

// Reads one value of type T from the text as a stream extraction does, blanks around it allowed;
// true when the whole text was consumed.
template <typename T>
static bool readWhole(const std::string& text, T& value)
{
    std::istringstream in(text);
    in >> std::ws >> value >> std::ws;
    return in.eof();
}

bool BE_StrIsNum(const char* text)
{
    if (!text)
        return false;
    double value = 0;
    return readWhole(text, value);
}

template <>
int BE_StrTo<int>(const std::string& text)
{
    int value = 0;
    if (!readWhole(text, value)) {
        fputs("EXCEPTION: BE_StrTo: something unexpected happened", stdout);
        fflush(stdout);
    }
    return value;
}

void clearPointerList(std::list<TreeMapObject*>& list)
{
    for (auto& item : list) {
        delete item;
        item = nullptr;
    }
}
