// admin_playlists.cpp - the stored playlists, on the administration page.

#include "qm-serve/admin_playlists.h"

#include "http/http_body.h"
#include "http/http_header.h"
#include "qm-serve/playlist_store.h"
#include "qm-serve/playlists.h"
#include "qm-serve/title.h"
#include "qm-serve/upload.h"
#include "qm-serve/url_text.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

// Leaves room for the ending, and within the head of an answer.
static constexpr size_t MAX_NAME_BYTES = 190;

static constexpr std::string_view downloads = "playlists/";

using namespace serve;

// --- The page ---------------------------------------------------------------

static std::string import_form(const std::string &token)
{
    std::string options;

    for (const Object &file : playlist_files()) {
        options += "<option value=\"" + file.id + "\">" +
                   html_escaped(xml_text(file.relative)) + "</option>\n";
    }
    if (options.empty())
        return "<p>The media folder holds no playlists.</p>\n";
    return form_head(playlists_section, token) +
           "<select name=\"file\" aria-label=\"File\">\n" + options +
           "</select>\n"
           "<button name=\"do\" value=\"import\">Import</button>\n"
           "</form>\n";
}

static std::string row(const StoredPlaylist &playlist, const std::string &token)
{
    std::string key = std::to_string(playlist.key);
    std::string title = html_escaped(title_of(playlist.title, true));

    // clang-format off
    return
        "<tr>"
        "<td><a href=\"/admin/" + std::string(downloads) + key + ".wpl\">" +
        title + "</a></td>"
        "<td>" + std::to_string(playlist.count) + "</td>\n"
        "<td>" + form_head(playlists_section, token) +
        "<input type=\"hidden\" name=\"key\" value=\"" + key + "\">"
        "<input name=\"title\" aria-label=\"Title\" value=\"" + title + "\">\n"
        "<button name=\"do\" value=\"rename\">Rename</button>\n" +
        (upload_folder().empty()
            ? ""
            : "<button name=\"do\" value=\"write\">Write to the upload folder"
              "</button>\n") +
        "<button name=\"do\" value=\"delete\">Delete</button>\n"
        "</form></td></tr>\n";
    // clang-format on
}

static std::string html(const std::string &token)
{
    std::vector<StoredPlaylist> playlists = stored_playlists();
    std::string page = "<p>A playlist that is imported stays, whatever becomes "
                       "of its file. It replaces one of the same title.</p>\n" +
                       import_form(token);

    if (playlists.empty())
        return page + "<p>None yet.</p>\n";
    page += "<table>\n<tr><th>Playlist</th><th>Tracks</th><th>Title</th></tr>"
            "\n";
    for (const StoredPlaylist &playlist : playlists)
        page += row(playlist, token);
    return page + "</table>\n";
}

// --- Changes ----------------------------------------------------------------

static bool import_file(const std::string &id)
{
    for (const Object &file : playlist_files()) {
        if (file.id == id)
            return import_playlist(file.relative);
    }
    return false;
}

static std::optional<StoredPlaylist> find(std::string_view key)
{
    for (StoredPlaylist &row : stored_playlists()) {
        if (std::to_string(row.key) == key)
            return std::move(row);
    }
    return {};
}

static std::string file_name(const StoredPlaylist &playlist)
{
    return fitted(playlist.title, MAX_NAME_BYTES) + ".wpl";
}

static bool write(const StoredPlaylist &playlist)
{
    std::string name = file_name(playlist);
    std::string text = playlist_text(playlist.key, upload_folder());

    std::replace(name.begin(), name.end(), '/', '#');
    return !upload_folder().empty() && !text.empty() &&
           store_upload(name, text);
}

static bool act(const FormFields &fields)
{
    std::string action = field(fields, "do");

    if (action == "import")
        return import_file(field(fields, "file"));
    std::optional<StoredPlaylist> playlist = find(field(fields, "key"));
    if (!playlist)
        return false;
    if (action == "rename")
        return rename_playlist(playlist->key, field(fields, "title"));
    if (action == "delete")
        return delete_playlist(playlist->key);
    return action == "write" && write(*playlist);
}

// --- Downloads --------------------------------------------------------------

// "playlists/KEY.wpl", as seen from the media folder.
static bool download(HttpRequest *request, const std::string &name,
                     int32_t &result)
{
    std::optional<StoredPlaylist> playlist;
    std::string                   text;

    if (name.starts_with(downloads) && name.ends_with(".wpl"))
        playlist = find(std::string_view(name).substr(
            downloads.size(), name.size() - downloads.size() - 4));
    if (playlist)
        text = playlist_text(playlist->key, "");
    if (text.empty())
        return false;
    HTTP_set_no_cache(request);
    // RFC 6266, 4.3; RFC 8187, 3.2.
    HTTP_add_header(request, ("Content-Disposition: attachment; "
                              "filename*=UTF-8''" +
                              percent_coded(file_name(*playlist)) + "\r\n")
                                 .c_str());
    request->mime_type = playlist_type;
    request->content_length = static_cast<int64_t>(text.size());
    result = HTTP_send(request, text.c_str());
    return true;
}

const AdminSection serve::playlists_section = { "playlists", "Playlists", html,
                                                act, download };
