#pragma once

/// QV_API marks the symbols that the shared library exports. The definition follows the object format, so the
/// header needs no platform switch: ELF has visibility, PE has export and import.
#if defined(__ELF__)
#define QV_API __attribute__((visibility("default")))
#elif defined(QvPlatform_EXPORTS)
#define QV_API __declspec(dllexport)
#else
#define QV_API __declspec(dllimport)
#endif

/// Makes the compiler check the arguments of printf-style functions against their format, by the rules of the
/// C standard on both platforms.
#if defined(__clang__)
#define QV_PRINTF_FORMAT(formatIndex, firstArgument) \
    __attribute__((format(printf, formatIndex, firstArgument)))
#elif defined(__GNUC__)
#define QV_PRINTF_FORMAT(formatIndex, firstArgument) \
    __attribute__((format(gnu_printf, formatIndex, firstArgument)))
#else
#define QV_PRINTF_FORMAT(formatIndex, firstArgument)
#endif
