// A user's program, built against the installed LumCore.
#include <LumCore/ZString.hpp>

#include <iostream>
#include <stdexcept>

int main()
{
    using Marlowen::Lum::ZString;
    const ZString greeting("hello, installed LumCore");
    const ZString shared = greeting;
    if (shared.c_str() != greeting.c_str() || shared.find(',') != 5) {
        return 1;
    }
    try {
        (void)greeting.substr(greeting.size() + 1);
        return 2;
    } catch (const std::out_of_range& e) {
        std::cout << greeting << " (" << e.what() << ")\n";
    }
    return 0;
}
