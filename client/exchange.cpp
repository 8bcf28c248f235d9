// SPDX-License-Identifier: Apache-2.0
#include "client/exchange.h"

#include "client/survey.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <openssl/evp.h>

namespace vxpctl
{
namespace
{

constexpr double answerTimeout = 5; // seconds
constexpr int answerTries = 6;      // at 0, 0.5, 1.1, 1.8, 2.7 and 3.8 s; a device serves all that it hears

using Datum = std::vector<std::uint8_t>;

template <typename Body>
Bytes bytesOf(const Body &body)
{
    return {reinterpret_cast<const std::uint8_t *>(&body), sizeof body};
}

Failure failure(ExitCode exitCode, const Device &device, ErrorCode code, const std::string &message,
                const std::string &hint)
{
    return Failure(exitCode, {code, device.label() + ": " + message, hint, device.macText()});
}

// The conversation about one request: one socket, one tag.
class Conversation
{
public:
    Conversation(const Device &device, const Operation &operation, const Datum &body, const Log &log)
        : m_device(device), m_operation(operation),
          m_request(makeRequest(operation.uCode, m_uTag, device.mac.data(), device.ip.data(), body)),
          m_socket(VXP_REPLY_PORT, log)
    {
    }
    const Datum &request() const { return m_request; }

    void send() const
    {
        int error = ENODEV;
        for (const unsigned index : m_device.interfaces) {
            const int result = m_socket.broadcast(m_request, VXP_REQUEST_PORT, index);
            error = error && result ? result : 0;
            // Two interfaces may lead to one segment, where the device hears both copies, and serves both.
            if (!error && !m_operation.repeatable)
                break;
        }
        if (error)
            throw failure(ExitCode::localNetwork, m_device, "send_failed",
                          std::string("the request could not be sent: ") + strerror(error),
                          "check the interface with 'ip -brief address'");
    }

    // The answer's body; nothing when it has not come by then.
    std::optional<Datum> await(Clock::time_point deadline)
    {
        for (;;) {
            switch (m_socket.wait(deadline, m_interrupt)) {
            case Wake::interrupted:
                throw failure(ExitCode::interrupted, m_device, "interrupted",
                              "interrupted while an answer was awaited; the device may do what it was asked", "");
            case Wake::deadline:
                return std::nullopt;
            case Wake::datagram:
                if (const auto datagram = m_socket.receive())
                    if (auto body = take(*datagram))
                        return body;
            }
        }
    }

private:
    std::optional<Datum> take(const Datagram &datagram)
    {
        const auto header = readHeader(datagram.bytes);
        if (!header || header->uID != VXP_ID_REPLY || header->uReqTag != m_uTag ||
            header->uOP_Code != m_operation.uCode ||
            std::memcmp(header->ucMAC, m_device.mac.data(), m_device.mac.size()) != 0 ||
            std::memcmp(header->ucIP, m_device.ip.data(), m_device.ip.size()) != 0)
            return std::nullopt;
        const std::string operation(m_operation.name);
        if (header->uFlag == VXP_AUTH_FAILED)
            throw failure(ExitCode::refused, m_device, "auth_failed", "the password is refused (" + operation + ")",
                          "give the password of " + std::string(administrator) + " on this device");
        if (header->uFlag != VXP_HANDLED)
            throw failure(ExitCode::deviceError, m_device, "not_supported", "does not serve '" + operation + "'", "");
        const Bytes body = datagram.bytes.subspan(sizeof(message_t));
        if (body.size() < m_operation.reply.size)
            throw failure(ExitCode::deviceError, m_device, "bad_reply", "the answer to '" + operation + "' is cut off",
                          "look at it with --trace");
        return Datum(body.begin(), body.end());
    }

    const Device &m_device;
    const Operation &m_operation;
    std::uint16_t m_uTag = randomTag();
    Datum m_request;
    Interrupt m_interrupt{};
    UdpSocket m_socket;
};

bool changesOrTells(const Operation &operation)
{
    return operation.uCode != VXP_OP_DISCOVER && operation.uCode != VXP_OP_QUERY_NEIGHBOR;
}

} // namespace

template <std::size_t size>
void putBase64(char (&field)[size], const std::string &text)
{
    if ((text.size() + 2) / 3 * 4 > size)
        throw Failure(ExitCode::usage,
                      {"too_long", "a name or password has more than " + std::to_string(size / 4 * 3) + " bytes",
                       "the protocol carries no longer one"});
    char encoded[size + 1] = {};
    EVP_EncodeBlock(reinterpret_cast<unsigned char *>(encoded), reinterpret_cast<const unsigned char *>(text.data()),
                    static_cast<int>(text.size()));
    std::memcpy(field, encoded, size);
}
template void putBase64(char (&field)[64], const std::string &text);

Credentials makeCredentials(const std::string &password)
{
    Credentials credentials{};
    putBase64(credentials.strUser, std::string(administrator));
    putBase64(credentials.strPassword, password);
    return credentials;
}

std::vector<std::uint8_t> Exchange::ask(const Device &device, const Operation &operation, Bytes body, double timeout,
                                        int tries) const
{
    Datum whole;
    if (operation.authenticated) {
        const Bytes login = bytesOf(m_credentials);
        whole.assign(login.begin(), login.end());
    }
    whole.insert(whole.end(), body.begin(), body.end());
    Conversation conversation(device, operation, whole, m_log);
    if (m_options.dryRun && changesOrTells(operation)) {
        const Datum shown = withoutSecrets(conversation.request());
        throw NotSent{describeDatagram(shown), hex(shown)};
    }
    const double given = timeout > 0 ? timeout : m_options.timeout;
    const auto start = Clock::now(), end = start + duration(given > 0 ? given : answerTimeout);
    tries = !operation.repeatable ? 1 : tries ? tries : m_options.tries ? m_options.tries : answerTries;
    for (const auto offset : jittered(sendTimes(end - start, tries))) {
        if (auto answer = conversation.await(start + offset))
            return *answer;
        conversation.send();
    }
    if (auto answer = conversation.await(end))
        return *answer;
    throw failure(ExitCode::noAnswer, device, "no_answer", "no answer to '" + std::string(operation.name) + "' in time",
                  operation.repeatable ? "try again, or give more time with --timeout"
                                       : "it may have been done all the same: look before you ask for it again");
}

} // namespace vxpctl
