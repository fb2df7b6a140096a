// upnp_api.h - what every public header needs: linkage and export marks.
#ifndef RUNTIME_UPNP_API_H
#define RUNTIME_UPNP_API_H

#ifdef __cplusplus
#define UPNP_C_BEGIN extern "C" {
#define UPNP_C_END   }
#else
#define UPNP_C_BEGIN
#define UPNP_C_END
#endif

// Marks a name that the shared library exports. All else is hidden.
#define UPNP_API __attribute__((visibility("default")))

// Lets the compiler check a printf format against its arguments: the positions
// of the format and of the first argument, 0 where they come as a va_list.
#define UPNP_PRINTF(at, first) __attribute__((format(printf, at, first)))

#endif
