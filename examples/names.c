/* Shows this host's name, and the name of an address, by default of 127.0.0.1: names [ADDRESS] */

#include <stdio.h>

#include <kvtip/kvtip.h>

static int fail(const char *what, uint32_t code) {
    char message[KVTIP_MESSAGE_SIZE];
    kvtip_message(code, message, sizeof message);
    fprintf(stderr, "%s: %s\n", what, message);
    return 1;
}

int main(int argc, char **argv) {
    const char *text = argc > 1 ? argv[1] : "127.0.0.1";
    kvtip_address address;
    uint32_t code = kvtip_parse_address(text, &address);
    if (code != 0) {
        return fail(text, code);
    }

    const char *host;
    code = kvtip_host_name(&host);
    if (code != 0) {
        return fail("this host", code);
    }
    printf("this host: %s\n", host);
    kvtip_free(host);

    const kvtip_name_list *names;
    code = kvtip_reverse(&address, &names);
    if (code != 0) {
        return fail(text, code);
    }
    for (size_t i = 0; i < names->count; ++i) {
        printf("%s: %s\n", text, names->rows[i]->name);
    }
    kvtip_free(names);
    return 0;
}
