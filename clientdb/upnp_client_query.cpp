// upnp_client_query.cpp - the flags of the client types, one word each.

#include "clientdb/upnp_client_query.h"

#include "clientdb/client_state.h"

#include <string.h>

static int32_t has(int32_t id, const char *word)
{
    const char *section = clientdb::section_of(id);

    return section && strstr(section, word);
}

int32_t upnp_client_db_supports_option(int32_t id, const char *keyword)
{
    return keyword && has(id, keyword);
}

// clang-format off
int32_t upnp_client_db_is_psp(int32_t id)
    { return has(id, "NA:PSP"); }
int32_t upnp_client_db_is_musicclient(int32_t id)
    { return has(id, "AV:M"); }
int32_t upnp_client_db_wmc_compliant(int32_t id)
    { return has(id, "DX:WMC"); }
int32_t upnp_client_db_redsonic_compliant(int32_t id)
    { return has(id, "DX:REDSONIC"); }
int32_t upnp_client_can_not_register_device(int32_t id)
    { return has(id, "XM:CANNOTREGISTERDEVICE"); }
int32_t upnp_client_db_needs_1_0_response(int32_t id)
    { return has(id, "HP:1.0RESPONSE"); }
int32_t upnp_client_db_needs_1_0_proxyresponse(int32_t id)
    { return has(id, "HP:1.0PROXYRESPONSE"); }
int32_t upnp_client_db_supports_chunked(int32_t id)
    { return has(id, "HP:chunked"); }
int32_t upnp_client_db_allways_close_connection(int32_t id)
    { return has(id, "HP:close"); }
int32_t upnp_client_db_needs_content_length_for_live(int32_t id)
    { return has(id, "HP:LIVEWITHLENGTH"); }
int32_t upnp_client_db_needs_psp_style_content_length(int32_t id)
    { return has(id, "HP:LIVEPSPLENGTH"); }
int32_t upnp_client_db_nobytes_in_timeseek_response(int32_t id)
    { return has(id, "XM:NOBYTES_IN_TIMESEEK_RESPONSE"); }
int32_t upnp_client_db_needs_4th_field(int32_t id)
    { return has(id, "XM:FORCE_4TH_FIELD"); }
int32_t upnp_client_db_supports_icy_data(int32_t id)
    { return has(id, "OS:supports_icy"); }
int32_t upnp_client_db_needs_absolute_uris(int32_t id)
    { return has(id, "DX:ABSOLUTEURI"); }
int32_t upnp_client_db_noproxyurl(int32_t id)
    { return has(id, "XM:NOPROXYURL"); }
int32_t upnp_client_db_needs_4_x_style_IDs(int32_t id)
    { return has(id, "XM:QV4IDS"); }
int32_t upnp_client_db_allow_update(int32_t id)
    { return has(id, "XM:ALLOW_UPDATE"); }
int32_t upnp_client_db_suppress_events(int32_t id)
    { return has(id, "ET:NO"); }
int32_t upnp_client_supports_featurelist_soap(int32_t id)
    { return has(id, "DX:SAMSUNGFEATLIST"); }
int32_t upnp_client_db_restrict_upload_to_known_protocolinfos(int32_t id)
    { return has(id, "XM:RESTRICTEDUPLOAD"); }
int32_t upnp_client_db_validated_sort(int32_t id)
    { return has(id, "XM:VALIDATEDSORT"); }
int32_t upnp_client_db_validated_search_criteria(int32_t id)
    { return has(id, "XM:VALIDATEDSEARCHCRITERIA"); }
int32_t upnp_client_db_ignore_sort(int32_t id)
    { return has(id, "XM:IGNORESORT"); }
int32_t upnp_client_db_no_utf8_sort(int32_t id)
    { return has(id, "XM:NOUTF8SORT"); }
int32_t upnp_client_db_philips_search(int32_t id)
    { return has(id, "XM:PHILIPSSEARCH"); }
int32_t upnp_client_db_give_roku_search(int32_t id)
    { return has(id, "SC:roku"); }
int32_t upnp_client_db_allow_unlimited_xml(int32_t id)
    { return has(id, "XM:UNLIMITED"); }
int32_t upnp_client_db_max_didl_255(int32_t id)
    { return has(id, "XM:DIDL255"); }
int32_t upnp_client_db_no_utf(int32_t id)
    { return has(id, "XM:noutf8"); }
int32_t upnp_client_db_add_time_to_date(int32_t id)
    { return has(id, "XM:DATETIME"); }
int32_t upnp_client_db_no_artist_role_composer(int32_t id)
    { return has(id, "XM:NOARTISTROLECOMPOSER"); }
int32_t upnp_client_db_exact_protocolinfo(int32_t id)
    { return has(id, "XM:EXACTPROTOCOLINFO"); }
int32_t upnp_client_db_needs_duration(int32_t id)
    { return has(id, "XM:FORCE_DURATION"); }
int32_t upnp_client_db_nobitrate(int32_t id)
    { return has(id, "XM:NOBITRATE"); }
int32_t upnp_client_db_force_videobitrate(int32_t id)
    { return has(id, "XM:FORCE_VIDEOBITRATE"); }
int32_t upnp_client_db_force_res(int32_t id)
    { return has(id, "XM:FORCERES"); }
int32_t upnp_client_db_force_mp4_profile(int32_t id)
    { return has(id, "DL:MP4DLNA"); }
int32_t upnp_client_db_viera_divxprofile(int32_t id)
    { return has(id, "XM:VIERA_DIVXPROFILE"); }
int32_t upnp_client_db_supports_moov_at_the_end(int32_t id)
    { return !has(id, "XM:moov_not_supported"); }
int32_t upnp_client_db_no_keyframe_seek(int32_t id)
    { return has(id, "XM:NO_KEYFRAME_SEEK"); }
int32_t upnp_client_db_no_additional_AAC_320_for_AAC_192(int32_t id)
    { return has(id, "XM:NOAAC320FORAAC192"); }
int32_t upnp_client_db_give_no_transcoded_pictures(int32_t id)
    { return has(id, "XM:NOTRPICS"); }
int32_t upnp_client_db_add_albumart_as_res(int32_t id)
    { return has(id, "XM:AARES"); }
int32_t upnp_client_db_can_not_work_with_embedded_albumart(int32_t id)
    { return has(id, "XM:NOEMBEDDEDALBUMART"); }
int32_t upnp_client_db_needs_philips_srt_style(int32_t id)
    { return has(id, "XM:PHILIPSSRT"); }
// clang-format on
