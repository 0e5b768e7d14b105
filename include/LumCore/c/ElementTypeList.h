/* The element types of a variant, listed once. The codes are part of the
 * flat interface and never change.
 *
 * Everything that enumerates the element types expands these lists: the C
 * and C++ enumerations, the words of WellKnownType, WellKnownTypeOf, the
 * run-time dispatch, the display names and every explicit instantiation.
 * Each entry is X(word, enumerator, code, Class):
 *   word        the type's word ("int32"), also the suffix of the C
 *               enumerator (ZWellKnownType_int32);
 *   enumerator  the C++ enumerator of WellKnownTypeValue (double_ where the
 *               word is a keyword);
 *   code        the 16-bit value, which crosses the flat interface;
 *   Class       the element class a variant stores. C never expands it.
 *
 * The order is the order in which the dispatch tries the codes: the two
 * boolean types, the numeric ones, then text and the times. The groups nest,
 * so a use that leaves some classes out (a std::vector<bool> is no array of
 * bytes) names the groups it takes.
 *
 * A class carried as custom data has no entry of its own: it reports
 * customType. An application's class needs nothing here; a custom class whose
 * conversions and storage the library compiles itself (std::string) joins
 * LUMCORE_LIBRARY_CUSTOM_CLASSES at the end of this file, and nothing else. */
#ifndef LUMCORE_INTERNAL_ELEMENT_TYPE_LIST_H
#define LUMCORE_INTERNAL_ELEMENT_TYPE_LIST_H

#define LUMCORE_ELEMENT_TYPE_BOOL(X) X(bool, bool_, 0x4003, bool)

#define LUMCORE_ELEMENT_TYPE_COMPLEX_BOOL(X) X(complexBool, complexBool, 0xC003, ::Marlowen::Lum::Complex<bool>)

#define LUMCORE_ELEMENT_TYPES_FLOATING(X) \
    X(double, double_, 0x0001, double)    \
    X(float, float_, 0x0002, float)

#define LUMCORE_ELEMENT_TYPES_INTEGER(X)                     \
    X(int32, int32, 0x0006, ::std::int32_t)                  \
    X(int64, int64, 0x0007, ::std::int64_t)                  \
    X(unsignedInt32, unsignedInt32, 0x4006, ::std::uint32_t) \
    X(unsignedInt64, unsignedInt64, 0x4007, ::std::uint64_t) \
    X(unsignedInt8, unsignedInt8, 0x4004, ::std::uint8_t)    \
    X(unsignedInt16, unsignedInt16, 0x4005, ::std::uint16_t) \
    X(int8, int8, 0x0004, ::std::int8_t)                     \
    X(int16, int16, 0x0005, ::std::int16_t)

#define LUMCORE_ELEMENT_TYPES_COMPLEX_FLOATING(X)                   \
    X(complexDouble, complexDouble, 0x8001, ::std::complex<double>) \
    X(complexFloat, complexFloat, 0x8002, ::std::complex<float>)

#define LUMCORE_ELEMENT_TYPES_COMPLEX_INTEGER(X)                                                     \
    X(complexInt32, complexInt32, 0x8006, ::Marlowen::Lum::Complex<::std::int32_t>)                  \
    X(complexInt64, complexInt64, 0x8007, ::Marlowen::Lum::Complex<::std::int64_t>)                  \
    X(complexUnsignedInt32, complexUnsignedInt32, 0xC006, ::Marlowen::Lum::Complex<::std::uint32_t>) \
    X(complexUnsignedInt64, complexUnsignedInt64, 0xC007, ::Marlowen::Lum::Complex<::std::uint64_t>) \
    X(complexInt8, complexInt8, 0x8004, ::Marlowen::Lum::Complex<::std::int8_t>)                     \
    X(complexInt16, complexInt16, 0x8005, ::Marlowen::Lum::Complex<::std::int16_t>)                  \
    X(complexUnsignedInt8, complexUnsignedInt8, 0xC004, ::Marlowen::Lum::Complex<::std::uint8_t>)    \
    X(complexUnsignedInt16, complexUnsignedInt16, 0xC005, ::Marlowen::Lum::Complex<::std::uint16_t>)

#define LUMCORE_ELEMENT_TYPE_STRING(X) X(string, string, 0x0010, ::Marlowen::Lum::ZString)

#define LUMCORE_ELEMENT_TYPES_TIME(X)                        \
    X(duration, duration, 0x0030, ::Marlowen::Lum::Duration) \
    X(timePoint, timePoint, 0x0040, ::Marlowen::Lum::TimePoint)

/* The twenty numeric types other than the two boolean ones. */
#define LUMCORE_ELEMENT_TYPES_NUMERIC(X)      \
    LUMCORE_ELEMENT_TYPES_FLOATING(X)         \
    LUMCORE_ELEMENT_TYPES_INTEGER(X)          \
    LUMCORE_ELEMENT_TYPES_COMPLEX_FLOATING(X) \
    LUMCORE_ELEMENT_TYPES_COMPLEX_INTEGER(X)

/* Every element type but bool and string. */
#define LUMCORE_ELEMENT_TYPES_BUT_BOOL_AND_STRING(X) \
    LUMCORE_ELEMENT_TYPE_COMPLEX_BOOL(X)             \
    LUMCORE_ELEMENT_TYPES_NUMERIC(X)                 \
    LUMCORE_ELEMENT_TYPES_TIME(X)

/* The 25 element types, in the order of the dispatch. */
#define LUMCORE_ELEMENT_TYPES(X)         \
    LUMCORE_ELEMENT_TYPE_BOOL(X)         \
    LUMCORE_ELEMENT_TYPE_COMPLEX_BOOL(X) \
    LUMCORE_ELEMENT_TYPES_NUMERIC(X)     \
    LUMCORE_ELEMENT_TYPE_STRING(X)       \
    LUMCORE_ELEMENT_TYPES_TIME(X)

/* The 26 type codes with a word: the element types and customType, the code
 * of every class carried as custom data. (unknown, 0, has no word.) */
#define LUMCORE_TYPE_CODES(X) \
    LUMCORE_ELEMENT_TYPES(X)  \
    X(customType, customType, 0x0020, void)

/* The classes carried as custom data whose conversions and storage the
 * library compiles itself; every other custom class is converted in the
 * caller's code. The code is customType, the word that of the code. */
#define LUMCORE_LIBRARY_CUSTOM_CLASSES(X) X(customType, customType, 0x0020, ::std::string)

#endif /* LUMCORE_INTERNAL_ELEMENT_TYPE_LIST_H */
