/* Shows the way to a host, by default to one on the Internet: route [ADDRESS] */

#include <stdio.h>

#include <kvtip/kvtip.h>

int main(int argc, char **argv) {
    kvtip_address destination;
    if (kvtip_parse_address(argc > 1 ? argv[1] : "192.0.2.1", &destination) != 0) {
        fprintf(stderr, "usage: route [ADDRESS]\n");
        return 2;
    }
    const kvtip_route *way;
    const uint32_t code = kvtip_route_to(&destination, 0, &way); /* 0: through any interface */
    if (code != 0) {
        char message[KVTIP_MESSAGE_SIZE];
        kvtip_message(code, message, sizeof message);
        fprintf(stderr, "no way there: %s\n", message);
        return 1;
    }
    char text[KVTIP_ADDRESS_TEXT_SIZE];
    kvtip_format_address(&way->source, text, sizeof text);
    printf("through %s, from %s, ", way->adapter, text);
    if (way->on_link) {
        printf("without a router\n");
    } else {
        kvtip_format_address(&way->next_hop, text, sizeof text);
        printf("by router %s\n", text);
    }
    kvtip_free(way);
    return 0;
}
