/* Pings hosts by their addresses, by default this one, and says what became of each ping: ping [ADDRESS...] */

#include <stdio.h>

#include <kvtip/kvtip.h>

static void print_result(const kvtip_ping_result *result) {
    const char *message = kvtip_ping_status_message(result->status);
    char from[KVTIP_ADDRESS_TEXT_SIZE];
    if (result->outcome == KVTIP_PING_ANSWERED) {
        printf("answered after %u ms\n", result->round_trip_time);
        return;
    }
    if (result->outcome == KVTIP_PING_DATA_DIFFERS) {
        message = "The answer has other data than was sent.";
    }
    printf("%s", *message != 0 ? message : "The ping failed.");
    if (result->from.family != 0) { /* who answered or reported */
        kvtip_format_address(&result->from, from, sizeof from);
        printf(" (%s)", from);
    }
    printf("\n");
}

static void ping(const char *host) {
    const kvtip_ping_options options = {.size = sizeof options, .timeout = 500};
    kvtip_ping_result result;
    kvtip_address address;
    uint32_t code = kvtip_parse_address(host, &address);
    if (code == 0) {
        code = kvtip_ping(&address, &options, &result);
    }
    printf("%s: ", host);
    if (code == 0) {
        print_result(&result);
    } else {
        char message[KVTIP_MESSAGE_SIZE];
        kvtip_message(code, message, sizeof message);
        printf("could not ping: %s\n", message);
    }
}

int main(int argc, char **argv) {
    const int is_started = kvtip_start() == 0; /* for speed: the pings also work without it */
    if (argc == 1) {
        ping("127.0.0.1");
    }
    for (int i = 1; i < argc; ++i) {
        ping(argv[i]);
    }
    if (is_started) {
        kvtip_stop();
    }
    return 0;
}
