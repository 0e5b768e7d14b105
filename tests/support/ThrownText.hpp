// thrownText<E>(call): the what() of the E that `call` throws, or
// "<nothing thrown>", so that a test can compare the exact words in one line.
#pragma once

#include <string>

namespace LumTest {

template <class Exception, class Call>
std::string thrownText(Call call)
{
    try {
        call();
    } catch (const Exception& e) {
        return e.what();
    }
    return "<nothing thrown>";
}

}  // namespace LumTest
