/* LumCore export macro.
 *
 * The library is built with hidden visibility; only declarations marked
 * LUM_API become part of its dynamic symbol table. LUM_LOCAL keeps an inline
 * helper of a public class out of that table even where the class itself is
 * exported. Usable from C and C++.
 */
#ifndef LUMCORE_EXPORT_H
#define LUMCORE_EXPORT_H

#if defined(_WIN32)
#if defined(LUMCORE_BUILDING_LIBRARY)
#define LUM_API __declspec(dllexport)
#else
#define LUM_API __declspec(dllimport)
#endif
#define LUM_LOCAL
#else
#define LUM_API __attribute__((visibility("default")))
#define LUM_LOCAL __attribute__((visibility("hidden")))
#endif

#endif /* LUMCORE_EXPORT_H */
