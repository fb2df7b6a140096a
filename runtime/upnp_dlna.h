// upnp_dlna.h - DLNA flags, the fields of protocolInfo, and image sizes.
//
// protocolInfo is "protocol:network:contentFormat:additionalInfo"; the fourth
// field holds parameters such as DLNA.ORG_PN=MP3. Threads: no state is kept.
#ifndef RUNTIME_UPNP_DLNA_H
#define RUNTIME_UPNP_DLNA_H

#include "runtime/upnp_api.h"
#include <stdint.h>

UPNP_C_BEGIN

// The first eight digits of the flags, behind "DLNA.ORG_FLAGS=" or at the
// start of text, as a number. 0 for null, and for digits that do not begin
// with a decimal one.
UPNP_API uint32_t dlnaflagstring_flags_get_from_string(const char *text);

// 1 if a bit of that number is set, 0 the lowest. 32 means bit 0 once more;
// a higher one gives 0.
UPNP_API int32_t dlnaflagstring_bit_get_from_string(const char *text,
                                                    uint32_t    bit);

// Sets a bit in the digits, in place. 0, also when there are no digits; -1 for
// null or for a bit above 32.
UPNP_API int32_t dlnaflagstring_bit_set_in_string(char *text, uint32_t bit);

// The start of a field, counted from 1, and its length; null when there is no
// such field. Borrowed from text.
UPNP_API char *upnp_get_protocolInfoField(const char *text, int32_t field,
                                          uint32_t *length_out);

// Measures one "name=value" at the start of text: 1 if it ends at ";" or at
// the end, else 0. total_length reaches to that place. Outputs may be null.
UPNP_API int32_t upnp_get_otherParamLength(const char *text,
                                           uint32_t   *name_length,
                                           uint32_t   *value_length,
                                           uint32_t   *total_length);

// Name of the smallest DLNA JPEG profile that holds such an image, null for
// one above 4096 x 4096. Caller frees with upnp_free_impl.
UPNP_API char *jpeg_map_dlna_profile(int32_t width, int32_t height);

// The size of an image scaled, up or down, until it touches a box from inside.
// A size of 0 gives the box itself.
UPNP_API void get_proportional_scale(int32_t width, int32_t height,
                                     int32_t max_width, int32_t max_height,
                                     int32_t *out_width, int32_t *out_height);

// Normalises the duration of a res element to "%05d:%02d:%02d.%03d" in out,
// 16 bytes. Destroys text. Parts out of range are clamped.
UPNP_API void upnp_util_scrub_res_duration(char *text, char *out);

UPNP_C_END
#endif
