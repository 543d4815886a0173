/* Lists the adapters that are up, looks up a host, and exchanges a text with an echo service there:
 *
 *     client HOST PORT
 */
#include <stdio.h>

#include "kvtip/kvtip.h"

static uint32_t list_adapters(void) {
    const kvtip_adapter_options options = {.size = sizeof options, .up = 1};
    const kvtip_adapter_list *adapters;
    const uint32_t code = kvtip_adapters(&options, &adapters);
    if (code != 0) {
        return code;
    }
    for (size_t i = 0; i < adapters->count; ++i) {
        const kvtip_adapter *adapter = adapters->rows[i];
        printf("%s\n", adapter->name);
        for (size_t j = 0; j < adapter->addresses.count; ++j) {
            char text[KVTIP_ADDRESS_TEXT_SIZE];
            kvtip_format_address(&adapter->addresses.rows[j]->address, text, sizeof text);
            printf("  %s\n", text);
        }
    }
    kvtip_free(adapters);
    return 0;
}

static uint32_t look_up(const char *host, const char *port) {
    const kvtip_resolution *found;
    const uint32_t code = kvtip_resolve(host, port, NULL, &found);
    if (code != 0) {
        return code;
    }
    printf("%s\n", host);
    for (size_t i = 0; i < found->endpoint_count; ++i) {
        char text[KVTIP_ENDPOINT_TEXT_SIZE];
        kvtip_format_endpoint(&found->endpoints[i], text, sizeof text);
        printf("  %s\n", text);
    }
    kvtip_free(found);
    return 0;
}

/* Sends `size` bytes of `data` and receives as many, if the other side does not finish early. */
static uint32_t send_and_receive(kvtip_socket socket, const char *data, char *buffer, size_t size,
                                 size_t *received) {
    size_t count;
    uint32_t code = kvtip_send(socket, data, size, 5000, &count);
    *received = 0;
    while (code == 0 && count != 0 && *received < size) {
        code = kvtip_receive(socket, buffer + *received, size - *received, 5000, &count);
        *received += count;
    }
    return code;
}

static uint32_t exchange(const char *host, const char *port) {
    const char data[] = "hello from C";
    const kvtip_connect_result *connection;
    uint32_t code = kvtip_connect(host, port, NULL, &connection);
    if (code == 0) {
        char buffer[sizeof data], text[KVTIP_ENDPOINT_TEXT_SIZE];
        size_t received;
        code = send_and_receive(connection->socket, data, buffer, sizeof data - 1, &received);
        if (code == 0) {
            kvtip_format_endpoint(&connection->remote, text, sizeof text);
            printf("%s returned: %.*s\n", text, (int)received, buffer);
        }
        kvtip_close(connection->socket);
    }
    kvtip_free(connection); /* there is a result on failure, too */
    return code;
}

int main(int argc, char **argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: client HOST PORT\n");
        return 2;
    }
    uint32_t code = list_adapters();
    if (code == 0) {
        code = look_up(argv[1], argv[2]);
    }
    if (code == 0) {
        code = exchange(argv[1], argv[2]);
    }
    if (code != 0) {
        char text[KVTIP_MESSAGE_SIZE];
        kvtip_message(code, text, sizeof text);
        fprintf(stderr, "error %u: %s\n", (unsigned)code, text);
        return 1;
    }
    return 0;
}
