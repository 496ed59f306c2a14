#ifndef ZT_BENCH_ZEROMQLINK_H
#define ZT_BENCH_ZEROMQLINK_H

#include "bench/ipc/Link.h"

#include <zmq.h>

class ZeroMqLink {
public:
    static constexpr const char* NAME = "ZeroMq";

    ZeroMqLink(End end, const std::string& path) : end(end), url("ipc://" + path)
    {
        zmq_setsockopt(socket, ZMQ_SNDTIMEO, &LIMIT_MS, sizeof LIMIT_MS);
        zmq_setsockopt(socket, ZMQ_RCVTIMEO, &LIMIT_MS, sizeof LIMIT_MS);
        const int linger = 0;
        zmq_setsockopt(socket, ZMQ_LINGER, &linger, sizeof linger);
        if (end == End::SERVER) {
            require(zmq_bind(socket, url.c_str()) == 0, "zmq_bind");
        }
    }

    ~ZeroMqLink()
    {
        zmq_close(socket);
        zmq_ctx_term(context);
    }

    ZeroMqLink(const ZeroMqLink&) = delete;
    ZeroMqLink& operator=(const ZeroMqLink&) = delete;

    void meet()
    {
        if (end == End::CLIENT) {
            require(zmq_connect(socket, url.c_str()) == 0, "zmq_connect");
        }
    }

    void send(std::uint32_t size)
    {
        require(zmq_send(socket, payload, size, 0) == static_cast<int>(size), "zmq_send");
    }

    void receive(std::uint32_t size)
    {
        require(zmq_recv(socket, payload, sizeof payload, 0) == static_cast<int>(size), "zmq_recv");
    }

private:
    const End end;
    const std::string url;
    void* const context = zmq_ctx_new();
    void* const socket = zmq_socket(context, ZMQ_PAIR);
    unsigned char payload[LONGEST_MESSAGE] = {};
};

#endif
