// Parameter and string helpers shared by all families.
#pragma once

#include <list>
#include <string>
#include <vector>

#include "frame/FalTypes.h"

class TreeMapObject;

// New copy (new[]) of the value of the first parameter named `name`, or null when there is none
// or its value is empty. The caller frees it with delete[].
char* BE_PairVal2(FAL_PARAMS_T params, const char* name);

// New copy (new[]) of the text, or null for an empty text.
char* BE_DuplicateStr(std::string s);

// Fields of the text cut at each delimiter, as a line reader with the delimiter as line end:
// empty fields between delimiters are kept, a trailing delimiter adds no field.
std::vector<std::string> BE_StrSplit(const char* text, char delimiter);

// Whether the text, blanks around it aside, reads as one floating-point number. A blank text is a
// number; a null text is not.
bool BE_StrIsNum(const char* text);

// The number that the text starts with (0 when none). When the text holds more than one number
// and blanks, prints "EXCEPTION: BE_StrTo: something unexpected happened" to standard output.
template <typename T>
T BE_StrTo(const std::string& text);

template <>
int BE_StrTo<int>(const std::string& text);

// Deletes every handle of the list and sets the elements to null; the list keeps its length.
void clearPointerList(std::list<TreeMapObject*>& list);
