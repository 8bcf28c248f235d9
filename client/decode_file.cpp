// SPDX-License-Identifier: Apache-2.0
//
// decode: the messages that capture files hold.
#include "client/commands.h"

#include "client/capture.h"
#include "client/failure.h"
#include "client/operations.h"

namespace vxpctl
{
namespace
{

Record describe(const timeval &time, const Dissected &dissected)
{
    const Packet &packet = dissected.packet;
    Record record;
    record["time"] = timeText(time.tv_sec, time.tv_usec);
    record["from"] = packet.source.hostText();
    record["from_port"] = packet.source.port;
    record["to"] = packet.destination.hostText();
    record["to_port"] = packet.destination.port;
    record["interface_index"] = packet.index ? Record(packet.index) : Record(nullptr);
    const auto covered = withoutSecrets(packet.payload);
    record.update(describeDatagram(covered));
    const std::string problem = dissected.problem.empty() ? problemOf(covered) : dissected.problem;
    record["problem"] = problem.empty() ? Record(nullptr) : Record(problem);
    return record;
}

class Reader
{
public:
    explicit Reader(Writer &writer) : m_writer(writer) {}
    unsigned long messages() const { return m_messages; }
    bool failed() const { return m_failed; }
    void read(const std::string &file)
    {
        char reason[PCAP_ERRBUF_SIZE] = "";
        const std::string name = file == "-" ? "standard input" : file;
        const std::unique_ptr<pcap_t, decltype(&pcap_close)> pcap(pcap_open_offline(file.c_str(), reason), pcap_close);
        if (!pcap)
            return fail("capture_unreadable", name + " cannot be read as a capture: " + reason,
                        "it takes pcap and pcapng files; write one with --pcap, or with tcpdump -w");
        const int linkType = pcap_datalink(pcap.get());
        if (!canDissect(linkType)) {
            const char *pName = pcap_datalink_val_to_name(linkType);
            return fail("capture_unreadable",
                        name + " has link type " + (pName ? pName : std::to_string(linkType)) + ", which is not known",
                        "capture on an Ethernet interface, or with tcpdump -i any");
        }
        pcap_pkthdr *pHeader = nullptr;
        const u_char *pFrame = nullptr;
        int result;
        while ((result = pcap_next_ex(pcap.get(), &pHeader, &pFrame)) == 1)
            if (const auto dissected = dissect(linkType, Bytes(pFrame, pHeader->caplen))) {
                m_writer.device(describe(pHeader->ts, *dissected));
                m_messages++;
            }
        if (result == PCAP_ERROR)
            fail("capture_damaged", name + " is damaged: " + pcap_geterr(pcap.get()),
                 "what stands before the damage is shown");
    }

private:
    void fail(ErrorCode code, const std::string &message, const std::string &hint)
    {
        m_failed = true;
        m_writer.error({code, message, hint});
    }

    Writer &m_writer;
    unsigned long m_messages = 0;
    bool m_failed = false;
};

ExitCode decode(const Options &options, Writer &writer, const Log &)
{
    if (options.targets.empty())
        throw Failure(ExitCode::usage, {"usage", "which capture? A file is missing", "- stands for standard input"});
    Reader reader(writer);
    for (const std::string &file : options.targets)
        reader.read(file);
    if (reader.failed())
        return reader.messages() ? ExitCode::partly : ExitCode::failure;
    if (reader.messages())
        return ExitCode::done;
    writer.error(
        {"no_message", "no packet is for UDP port 62976 or 62992", "did the capture run on the right interface?"});
    return ExitCode::noDevice;
}

} // namespace

Command decodeCommand()
{
    Command command{{"decode",
                     {{"TIME", "time", 32},
                      {"FROM", "from", 15},
                      {"TO", "to", 15},
                      {"KIND", "kind", 12},
                      {"OPERATION", "operation", 25},
                      {"OUTCOME", "outcome", 7},
                      {"PROBLEM", "problem", 7},
                      {"BODY", "body"}},
                     true},
                    "Show the messages in capture files, without secrets",
                    "Reads what --pcap, tcpdump and Wireshark write (pcap and pcapng), and shows each message of this\n"
                    "protocol. What is wrong with a damaged one stands under \"problem\".",
                    Options{},
                    decode,
                    CommandKind::local};
    command.operand = "FILE";
    command.operandHelp = "Capture files; - is standard input";
    return command;
}

} // namespace vxpctl
