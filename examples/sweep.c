/* Pings the 254 hosts of a network at the same time, by default this host's loopback network, and counts those that
 * answer: sweep [NETWORK]. Ctrl-C shows what is known by then. */

#include <signal.h>
#include <stdio.h>

#include <kvtip/kvtip.h>

static kvtip_canceller *canceller;

static void on_interrupt(int number) {
    (void)number;
    kvtip_canceller_cancel(canceller);
}

/* Returns 0, or why not all were pinged. */
static uint32_t print_replies(const kvtip_ping_reply_list *replies) {
    unsigned answered = 0, ended = 0;
    uint32_t code = 0;
    for (size_t i = 0; i < replies->count; ++i) {
        const kvtip_ping_reply *reply = replies->rows[i];
        if (reply->code != 0) { /* also for those that had not ended when it was cancelled */
            code = reply->code;
            continue;
        }
        ++ended;
        if (reply->result.outcome == KVTIP_PING_ANSWERED) {
            char host[KVTIP_ADDRESS_TEXT_SIZE];
            kvtip_format_address(&reply->target, host, sizeof host);
            printf("%s  %u ms\n", host, reply->result.round_trip_time);
            ++answered;
        }
    }
    printf("%u of %u hosts answered\n", answered, ended);
    return code;
}

int main(int argc, char **argv) {
    kvtip_ping_options options = {.size = sizeof options, .timeout = 500};
    kvtip_address hosts[254];
    kvtip_network network;
    const kvtip_ping_reply_list *replies;
    uint32_t code = kvtip_parse_network(argc > 1 ? argv[1] : "127.0.0.0/24", &network);
    if (code != 0 || network.address.family != 4 || network.prefix_length != 24) {
        printf("this is no IPv4 network of 256 addresses\n");
        return 1;
    }
    for (unsigned i = 0; i < 254; ++i) {
        hosts[i] = network.address;
        hosts[i].bytes[3] = (uint8_t)(i + 1);
    }
    if (kvtip_canceller_create(&canceller) == 0) {
        options.cancel = canceller;
        signal(SIGINT, on_interrupt);
    }
    code = kvtip_ping_all(hosts, 254, &options, &replies);
    if (replies != NULL) { /* also after Ctrl-C */
        code = print_replies(replies);
    }
    if (code != 0) {
        printf("not all were pinged: %s\n", kvtip_error_name(code));
    }
    kvtip_free(replies);
    signal(SIGINT, SIG_IGN); /* nobody may use the canceller from here on */
    kvtip_canceller_close(canceller);
    return code == 0 ? 0 : 1;
}
