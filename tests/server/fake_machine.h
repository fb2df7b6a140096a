// fake_machine.h - the addresses of the machine and its renderer, which cannot
// be undone, as the tests choose them; pauses take a fiftieth of their time.
#ifndef TESTS_SERVER_FAKE_MACHINE_H
#define TESTS_SERVER_FAKE_MACHINE_H

#include "config/upnp_ini_file.h"
#include "runtime/upnp_shared.h"
#include "server/upnp_server.h"
#include "support/work_folder.h"

#include <atomic>
#include <string>
#include <vector>

struct FakeMachine : WorkFolder {
    void SetUp() override
    {
        WorkFolder::SetUp();
        upnp_ini_file_init();
        upnp_ini_file_setPropertyByKey(INI_APPDATA, dir.c_str());
        upnp_ini_file_setPropertyByKey(INI_NMCMODE, "0");
        shared::store(g_server_running, 1);
    }
    void TearDown() override
    {
        is_renderer = 0;
        upnp_ini_file_release();
        WorkFolder::TearDown();
    }

    static std::atomic<int32_t>     is_renderer;  // heartbeats read it
    static std::vector<std::string> addresses;
    static int                      looks;  // how often they were asked for
};

#endif
