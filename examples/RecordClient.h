#ifndef ZT_EXAMPLES_RECORDCLIENT_H
#define ZT_EXAMPLES_RECORDCLIENT_H

#include "TextMessage.h"
#include "zt/ZTDescriptorEndPoint.h"
#include "zt/ZTSocketLinux.h"

#include <fcntl.h>
#include <memory>
#include <string>
#include <vector>

/// The connection to a TCP client, whose texts are answered with their lengths. Its socket object
/// puts together the records of this connection and no other.
class RecordClient : public ZT::ZTDescriptorEndPoint {
public:
    /// The connection is its own from now on.
    explicit RecordClient(int connection) : ZTDescriptorEndPoint(connection)
    {
        fcntl(connection, F_SETFL, O_NONBLOCK); // a client that reads no answers holds up nobody
    }

    ~RecordClient() override
    {
        socket.dropPartialAbove(0);
        socket.closeSocket(id());
    }

    /// False once the client has gone, or sends more than a text may have.
    bool answer()
    {
        std::vector<std::unique_ptr<char[]>> records;
        const int status = socket.receiveRecords(getReadEndPointID(), records);
        for (const auto& record : records) {
            const TextMessage request(record.get());
            TextMessage reply("your text has " + std::to_string(request.text.size()) + " bytes");
            reply.parameter1 = request.parameter1;
            socket.sendSocketData(id(), &reply);
        }
        return (status == RECEIVED || status == NOTHING) && !socket.dropPartialAbove(LONGEST);
    }

private:
    static const int RECEIVED = 0;
    static const int NOTHING = 17;
    static const unsigned int LONGEST = 65536;

    unsigned int id() const { return static_cast<unsigned int>(getReadEndPointID()); }

    ZT::ZTSocketLinux socket;
};

#endif
