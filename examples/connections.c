/* Lists who listens on TCP, at one port or at all: connections [PORT] */

#include <stdio.h>
#include <stdlib.h>

#include <kvtip/kvtip.h>

static int list_listeners(uint16_t port) {
    const kvtip_connection_options options = {
        .size = sizeof options,
        .flags = KVTIP_CONNECTIONS_PATHS,
        .protocol = KVTIP_TCP,
        .state = KVTIP_STATE_LISTEN,
        .local_port = port, /* 0: any */
    };
    const kvtip_connection_list *found;
    const uint32_t code = kvtip_connections(&options, &found);
    if (code != 0) {
        char message[KVTIP_MESSAGE_SIZE];
        kvtip_message(code, message, sizeof message);
        fprintf(stderr, "cannot list the connections: %s\n", message);
        return 1;
    }
    for (size_t i = 0; i < found->count; ++i) {
        const kvtip_connection *each = found->rows[i];
        char local[KVTIP_ENDPOINT_TEXT_SIZE];
        kvtip_format_endpoint(&each->local, local, sizeof local);
        if (each->process != 0) {
            printf("%-20s%u %s %s\n", local, each->process, each->process_name,
                   each->process_path_code == 0 ? each->process_path
                                                : kvtip_error_name(each->process_path_code));
        } else { /* the system does not report it */
            printf("%-20sunknown\n", local);
        }
    }
    printf("listeners: %u\n", (unsigned)found->count);
    kvtip_free(found);
    return 0;
}

int main(int argc, char **argv) {
    unsigned long port = 0;
    if (argc > 1) {
        char *end;
        port = strtoul(argv[1], &end, 10);
        if (*end != 0 || port > 65535) {
            fprintf(stderr, "usage: connections [PORT]\n");
            return 2;
        }
    }
    return list_listeners((uint16_t)port);
}
