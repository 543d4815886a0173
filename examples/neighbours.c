/* Lists the neighbours whose hardware addresses are known, or asks one for its: neighbours [ADDRESS] */

#include <stdio.h>

#include <kvtip/kvtip.h>

static int fail(const char *what, uint32_t code) {
    char message[KVTIP_MESSAGE_SIZE];
    kvtip_message(code, message, sizeof message);
    fprintf(stderr, "%s: %s\n", what, message);
    return 1;
}

static int list(void) {
    const kvtip_neighbour_list *known;
    const uint32_t code = kvtip_neighbours(NULL, &known);
    if (code != 0) {
        return fail("cannot list the neighbours", code);
    }
    for (size_t i = 0; i < known->count; ++i) {
        const kvtip_neighbour *each = known->rows[i];
        char address[KVTIP_ADDRESS_TEXT_SIZE], mac[KVTIP_MAC_TEXT_SIZE];
        if (each->mac.length != 0) {
            kvtip_format_address(&each->address, address, sizeof address);
            kvtip_format_mac(&each->mac, mac, sizeof mac);
            printf("%-28s%s  interface %u\n", address, mac, each->interface_index);
        }
    }
    printf("%u entries%s\n", (unsigned)known->count,
           known->missing & KVTIP_MISSING_IPV6 ? ", IPv4 only" : "");
    kvtip_free(known);
    return 0;
}

static int ask(const char *text) {
    kvtip_address target;
    kvtip_mac mac;
    char answer[KVTIP_MAC_TEXT_SIZE];
    uint32_t code = kvtip_parse_address(text, &target);
    if (code == 0) {
        code = kvtip_hardware_address(&target, 0, &mac); /* 0: through any interface */
    }
    if (code != 0) {
        return fail(text, code);
    }
    kvtip_format_mac(&mac, answer, sizeof answer);
    printf("%s: %s\n", text, answer);
    return 0;
}

int main(int argc, char **argv) {
    return argc > 1 ? ask(argv[1]) : list();
}
