// upnp_process_test.cpp - the words and descriptors that reach a child, and
// what is known of it afterwards.

#include "runtime/upnp_process.h"

#include "files/upnp_directory.h"
#include "files/upnp_file.h"
#include "files/upnp_fsmon.h"
#include "http/http.h"
#include "http/http_client.h"
#include "runtime/upnp_socket.h"
#include "ssdp/ssdp_packet.h"
#include "support/await.h"
#include "support/failing_heap.h"
#include "support/log_lines.h"
#include "support/work_folder.h"

#include <cstring>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

struct Process : WorkFolder {
    void SetUp() override
    {
        WorkFolder::SetUp();
        script("words", "for w; do printf '%s|' \"$w\"; done > out.tmp\n"
                        "mv out.tmp out");
        script("sleeper", "echo $$ > $0.tmp; mv $0.tmp $0.pid\n"
                          "exec sleep 1000");
        script("kill-self", "kill -TERM $$");
        script("fail", "exit 3");
    }
    void TearDown() override
    {
        terminate_active_processes();
        WorkFolder::TearDown();
    }
    void script(const std::string &name, const std::string &text)
    {
        put(name, "#!/bin/sh\n" + text + "\n");
        chmod(name.c_str(), 0755);
    }
};

static bool has_children()
{
    return waitpid(-1, nullptr, WNOHANG | WNOWAIT) != -1;
}

static int32_t start(const char *program, const char *parameters)
{
    std::string writable = parameters;
    return system_call_no_wait(program, writable.data());
}

TEST_F(Process, ParametersAreSplitAtBlanks)
{
    std::string many, first;
    for (int i = 1; i <= 35; ++i) {
        many += std::to_string(i) + " ";
        first += i <= 28 ? std::to_string(i) + "|" : "";
    }
    const struct {
        const char *parameters;
        std::string words;
    } cases[] = {
        { "a \"b c\" d", "a|b c|d|" },
        { "a \"b c", "a|b c|" },
        { "a b\"c d\"", "a|b\"c|d\"|" },
        { "\"a\"b", "a|b|" },
        { "a\tb  c", "a\tb|c|" },
        { "a ", "a|" },
        { "a  ", "a||" },
        { "\"a\" ", "a||" },
        { "  ", "|" },
        { "\"\" x", "|x|" },
        { "", "" },
        { many.c_str(), first },
    };
    for (const auto &c : cases) {
        std::string writable = c.parameters;
        EXPECT_EQ(system_call_waiting("./words", c.parameters), 0);
        EXPECT_EQ(get("out"), c.words) << c.parameters;

        std::filesystem::remove("out");
        EXPECT_EQ(start("./words", c.parameters), SYSTEM_CALL_STARTED);
        await([] { return !check_active_processes("./words"); });
        EXPECT_EQ(get("out"), c.words == first ? first + "29|" : c.words)
            << c.parameters;
        EXPECT_FALSE(has_children());
    }
    EXPECT_EQ(system_call_waiting("./words", nullptr), 0);
    EXPECT_EQ(get("out"), "");
}

TEST_F(Process, AProgramRunsOnceAndTheTableIsBounded)
{
    EXPECT_EQ(start("./sleeper", ""), SYSTEM_CALL_STARTED);
    EXPECT_EQ(start("./sleeper", ""), SYSTEM_CALL_RUNNING);
    for (int i = 1; i < 50; ++i) {
        std::string name = "./s" + std::to_string(i);
        std::filesystem::create_hard_link("sleeper", name);
        EXPECT_EQ(start(name.c_str(), ""), SYSTEM_CALL_STARTED);
    }
    EXPECT_EQ(start("./fail", ""), SYSTEM_CALL_FULL);
    EXPECT_EQ(check_active_processes("./s49"), 1);
    EXPECT_EQ(check_active_processes("./fail"), 0);

    // Any one that ends makes room, and its program may run again.
    await([] { return std::filesystem::exists("sleeper.pid"); });
    kill(std::stoi(get("sleeper.pid")), SIGKILL);
    await([] { return start("./fail", "") == SYSTEM_CALL_STARTED; });
    EXPECT_EQ(terminate_active_processes(), 0);
    EXPECT_FALSE(has_children());
    EXPECT_EQ(check_active_processes("./s49"), 0);
    EXPECT_EQ(is_process_running(), 0);
}

TEST_F(Process, EndsAreTold)
{
    static int32_t asked;
    auto           let_run = [](int32_t) { return 0; };
    // clang-format off
    const struct {
        const char     *program;
        UpnpCancelCheck check;
        int32_t         result;
    } cases[] = {
        { "./fail",      nullptr, 0  },
        { "./fail",      let_run, 0  },
        { "./kill-self", nullptr, 0  },
        { "./kill-self", let_run, -1 },
        { "./none",      let_run, 0  },
        { "./sleeper",
          [](int32_t arg) { asked = arg; return 7; }, 7 },
    };
    // clang-format on
    for (const auto &c : cases)
        EXPECT_EQ(system_call_waiting_prio(c.program, "x", 9, c.check, 42),
                  c.result)
            << c.program;
    EXPECT_EQ(asked, 42);
    await([] {
        check_active_processes("");
        return !has_children();
    });

    EXPECT_EQ(start("./none", ""), SYSTEM_CALL_STARTED);
    await([] { return !check_active_processes("./none"); });
    EXPECT_FALSE(has_children());
    for_each_failing_allocation([] { system_call_waiting("./fail", "x"); });
}

// The descriptors of a child, waited for and not.
static std::string descriptors_of_child()
{
    EXPECT_EQ(system_call_waiting("./descriptors", nullptr), 0);
    std::string seen = WorkFolder::get("out");
    EXPECT_EQ(start("./descriptors", ""), SYSTEM_CALL_STARTED);
    await([] { return !check_active_processes("./descriptors"); });
    return seen + WorkFolder::get("out");
}

TEST_F(Process, NoOpenFileReachesAChild)
{
    script("descriptors", "cd /proc/$$/fd; echo * > \"$OLDPWD/out\"");
    std::string own = descriptors_of_child();
    uint32_t    port = 41000;
    int32_t     listener = -1;

    EXPECT_NE(own, "");
    HTTP_create_server_socket(&listener, &port, "127.0.0.1");
    std::string url = "http://127.0.0.1:" + std::to_string(port) + "/";
    UpnpFile   *written = upnp_file_open_append("log");
    FileFind   *find = upnp_file_find_first_file(".");

    int32_t descriptors[] = {
        fsmon_init(),
        listener,
        HTTP_open(url.c_str()),
        upnp_socket_accept(listener),
        SSDP_create_send_socket("127.0.0.1", 0),
        upnp_create_listen_socket("127.0.0.1"),
    };
    EXPECT_EQ(descriptors_of_child(), own);
    for (int32_t &fd : descriptors) {
        EXPECT_NE(fd, -1);
        upnp_close_socket(&fd);
    }
    upnp_file_find_close(find);
    upnp_file_close(written);
}

TEST_F(Process, TheParentLogs)
{
    std::string lines =
        log_lines([] { system_call_waiting("./fail", nullptr); });
    std::string from = "system_call_waiting_prio : ";

    for (const char *text : { "strProg ./fail\n", "strParam \n", "waitpid " })
        EXPECT_NE(lines.find(from + text), std::string::npos) << text;
}
