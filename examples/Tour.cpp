// A tour of LumCore: what the library does, shown at work.
#include <iostream>
#include <stdexcept>
#include <string>

#include "LumCore/LumCoreFlat.h"
#include "LumCore/ZString.hpp"

namespace {

using namespace Marlowen::Lum;
using namespace Marlowen::Lum::Literals;

void section(const char* title)
{
    std::cout << "\n== " << title << " ==\n";
}

void strings()
{
    section("Shared strings");
    const ZString name("Sensor Temperature", 18);
    const ZString shared = name;  // a share: one atomic increment, no copy
    std::cout << "made:      \"" << name << "\" (" << name.size() << " bytes)\n";
    std::cout << "shared:    same text pointer? " << std::boolalpha << (shared.c_str() == name.c_str()) << "\n";

    const ZString constant("unit: K"_zl);  // literal form: no allocation at all
    std::cout << "literal:   \"" << constant << "\"\n";

    std::cout << "find:      \"Temp\" at " << name.find("Temp", 0, 4) << "\n";
    std::cout << "cut:       \"" << name.substr(7) << "\"\n";
    std::cout << "lowered:   \"" << name.toLower() << "\"\n";
    std::cout << "replaced:  \"" << name.replaceAll("Temperature", "Pressure") << "\"\n";
    std::cout << "stripped:  \"" << ZString("  padded  ").strip(" ") << "\"\n";
}

void errorsAtTheBoundary()
{
    section("Errors cross the boundary as data, and come back as exceptions");
    const ZString name("short");
    try {
        (void)name.substr(99);
    } catch (const std::out_of_range& e) {
        std::cout << "std::out_of_range caught: \"" << e.what() << "\"\n";
    }

    // The same failure seen from C: a word and a message in the record.
    ErrorRecord error;
    error.typeName = nullptr;
    ZStringData* handle = ZStringData_C_API_constructCString(&error, "x", size_t{1} << 62);
    std::cout << "flat call: handle " << (handle ? "set" : "null") << ", record says "
              << error.typeName << ": \"" << error.message << "\"\n";
}

}  // namespace

int main()
{
    std::cout << "LumCore tour\n";
    strings();
    errorsAtTheBoundary();
    return 0;
}
