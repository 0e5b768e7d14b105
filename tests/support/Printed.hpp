// printed(value): what PrintTo writes for `value`, as a string, so that a
// test compares the whole text in one line.
#pragma once

#include <sstream>
#include <string>

namespace LumTest {

template <class T>
std::string printed(const T& value)
{
    std::ostringstream out;
    PrintTo(value, &out);
    return out.str();
}

}  // namespace LumTest
