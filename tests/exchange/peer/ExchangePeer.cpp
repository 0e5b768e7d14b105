// The library's side of the tests against independent readers and writers
// (Python's cbor2 and json): converts one file between the exchange forms
// through a tree.
//
//     lumcore_exchange_peer cbor-to-json in.cbor out.json
//     lumcore_exchange_peer json-to-cbor in.json out.cbor
//     lumcore_exchange_peer cbor-to-cbor in.cbor out.cbor
#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>
#include <string>

#include "LumCore/Cbor.hpp"
#include "LumCore/Json.hpp"

int main(int argc, char** argv)
{
    using namespace Marlowen::Lum;
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s cbor-to-json|json-to-cbor|cbor-to-cbor <in> <out>\n", argv[0]);
        return 2;
    }
    const std::string mode = argv[1];
    std::ifstream in(argv[2], std::ios::binary);
    const std::string input((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::ofstream out(argv[3], std::ios::binary);
    try {
        if (mode == "json-to-cbor") {
            const ZVariant bytes = encodeCbor(readJsonTree(input));
            out.write(static_cast<const char*>(bytes.constStoredData()),
                      static_cast<std::streamsize>(elementCount(bytes.dimensions())));
            return 0;
        }
        const FPropertyNode tree = decodeCborTree(input.data(), input.size());
        if (mode == "cbor-to-json") {
            out << writeJson(tree);
        } else {
            const ZVariant bytes = encodeCbor(tree);
            out.write(static_cast<const char*>(bytes.constStoredData()),
                      static_cast<std::streamsize>(elementCount(bytes.dimensions())));
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    }
    return 0;
}
