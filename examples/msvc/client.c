/* Lists the adapters that are up, looks up localhost, and exchanges a text with an echo service there:
 *
 *     client PORT
 *
 * It needs no C library, and links kvtIP.lib and kernel32.lib alone. A program with a C library looks like the client
 * in ../c. */
#include "kvtip/kvtip.h"

__declspec(dllimport) char *__stdcall GetCommandLineA(void);
__declspec(dllimport) void *__stdcall GetStdHandle(uint32_t number);
__declspec(dllimport) int __stdcall WriteFile(void *file, const void *data, uint32_t size, uint32_t *written,
                                              void *overlapped);
__declspec(dllimport) void __stdcall ExitProcess(uint32_t code);

static void print(const char *text) {
    uint32_t size = 0, written;
    while (text[size] != 0) {
        ++size;
    }
    WriteFile(GetStdHandle((uint32_t)-11), text, size, &written, 0); /* STD_OUTPUT_HANDLE */
}

static void print_line(const char *begin, const char *end) {
    print(begin);
    print(end);
    print("\n");
}

static void check(uint32_t code) {
    if (code != 0) {
        char text[KVTIP_MESSAGE_SIZE];
        kvtip_message(code, text, sizeof text);
        print(text);
        ExitProcess(1);
    }
}

static void list_adapters(void) {
    const kvtip_adapter_options options = {.size = sizeof options, .up = 1};
    const kvtip_adapter_list *adapters;
    check(kvtip_adapters(&options, &adapters));
    for (size_t i = 0; i < adapters->count; ++i) {
        const kvtip_adapter *adapter = adapters->rows[i];
        print_line("", adapter->name);
        for (size_t j = 0; j < adapter->addresses.count; ++j) {
            char text[KVTIP_ADDRESS_TEXT_SIZE];
            check(kvtip_format_address(&adapter->addresses.rows[j]->address, text, sizeof text));
            print_line("  ", text);
        }
    }
    kvtip_free(adapters);
}

static void look_up(const char *host, const char *port) {
    const kvtip_resolution *found;
    check(kvtip_resolve(host, port, 0, &found));
    print_line("", host);
    for (size_t i = 0; i < found->endpoint_count; ++i) {
        char text[KVTIP_ENDPOINT_TEXT_SIZE];
        check(kvtip_format_endpoint(&found->endpoints[i], text, sizeof text));
        print_line("  ", text);
    }
    kvtip_free(found);
}

static void exchange(const char *host, const char *port) {
    static const char data[] = "hello from the ABI of MSVC";
    const kvtip_connect_result *connection;
    char answer[sizeof data], text[KVTIP_ENDPOINT_TEXT_SIZE];
    size_t count, received = 0;
    check(kvtip_connect(host, port, 0, &connection));
    check(kvtip_send(connection->socket, data, sizeof data - 1, 5000, &count));
    while (count != 0 && received < sizeof data - 1) {
        check(kvtip_receive(connection->socket, answer + received, sizeof data - 1 - received, 5000, &count));
        received += count;
    }
    answer[received] = 0;
    check(kvtip_close(connection->socket));
    check(kvtip_format_endpoint(&connection->remote, text, sizeof text));
    kvtip_free(connection);
    print(text);
    print_line(" returned: ", answer);
}

void start(void) {
    const char *port = 0; /* the last word of the command line */
    for (const char *c = GetCommandLineA(); *c != 0; ++c) {
        if (*c == ' ') {
            port = c + 1;
        }
    }
    list_adapters();
    look_up("localhost", port);
    exchange("localhost", port);
    ExitProcess(0);
}
