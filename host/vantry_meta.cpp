// vantry-meta: prints the collection metadata records of a file.
//
//   vantry-meta [--format-version N] FILE
//   vantry-meta --probe [FILE]
//
// With --probe it describes this machine instead: it probes it, writes the
// system record (into FILE when given), reads it back and prints it like a
// record of a file, so what is shown is what a result file would carry.
//
// A result file of vantry (".vtr") is recognised by its first bytes: its
// metadata records, features, options and sample counts are printed.
// Any other FILE holds framed metadata records one after the other (a 32-bit type code,
// then the record). For a system record it prints the version header, the
// collection header, the hardware header and the full text dump; for the
// other kinds, their fields. Exit status: 0 when every record was read, 1 when
// the file cannot be opened (missing, a folder, a FIFO or a device, larger
// than c_maxFileBytes), holds a record that cannot be read or ends in bytes
// too few for a record, 2 for bad arguments. Every failure is one line on
// standard error.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "common/data/UniqueId.h"
#include "common/runtime/FileOps.h"
#include "common/runtime/Log.h"
#include "common/serialize/CollectorMetadata.h"
#include "common/serialize/Metadata.h"
#include "common/serialize/MetricMetadata.h"
#include "common/serialize/MsgMetadata.h"
#include "common/serialize/OperationMetadata.h"
#include "common/serialize/Serializer.h"
#include "common/serialize/SystemMetadata.h"
#include "common/sysinfo/SystemProbe.h"
#include "host/ResultFile.h"

namespace {

// Metadata files hold a system record and a few small records, kilobytes in
// all. 256 MiB is far beyond any real one, and keeps a wrong argument (a
// disk image, a huge log) from being read whole into memory.
const uint64_t c_maxFileBytes = 256ull << 20;

void printStrings(const char* label, const std::set<std::string>& strings) {
    std::cout << "  " << label << ":";
    for (const std::string& s : strings) {
        std::cout << " " << s;
    }
    std::cout << "\n";
}

void printPairs(const std::vector<std::pair<std::string, std::string>>& pairs) {
    for (const auto& p : pairs) {
        std::cout << "  " << p.first << " = " << p.second << "\n";
    }
}

void printOperation(const pwr::OperationMetadata& op, const char* indent) {
    std::cout << indent << "Operation: " << op.getName() << "\n"
              << indent << "  Operation text: " << op.getOperation() << "\n"
              << indent << "  Size: " << op.getSize() << "\n"
              << indent << "  Original message tag: " << op.getOrgMsgTag() << "\n";
}

void printRecord(const pwr::Metadata& record) {
    if (const auto* sys = dynamic_cast<const pwr::SystemMetadata*>(&record)) {
        std::cout << "System record\n"
                  << sys->getVersionHeader(true) << sys->getCollectionHeader() << "\n"
                  << sys->getSystemHWHeader() << "\n\n"
                  << *sys;
    } else if (const auto* msg = dynamic_cast<const pwr::MsgMetadata*>(&record)) {
        std::cout << "Message record\n"
                  << "  Plug-in id: " << msg->getPluginID() << "\n"
                  << "  Metric id: " << msg->getMetricID() << "\n"
                  << "  Message id: " << msg->getMsgID() << "\n"
                  << "  Capability: " << msg->getCapName() << "\n"
                  << "  Message name: " << msg->getMsgName() << "\n";
        printStrings("Capability groups", msg->getCapGroups());
        printStrings("Triggers", msg->getTriggers());
        printStrings("Tracepoints", msg->getTracepointNames());
        for (const pwr::OperationMetadata* op : msg->getMetaValues()) {
            printOperation(*op, "  ");
        }
    } else if (const auto* metric = dynamic_cast<const pwr::MetricMetadata*>(&record)) {
        std::cout << "Metric record\n"
                  << "  Plug-in id: " << metric->getPluginID() << "\n"
                  << "  Metric id: " << metric->getMetricID() << "\n";
        printPairs(metric->getValues());
    } else if (const auto* op = dynamic_cast<const pwr::OperationMetadata*>(&record)) {
        std::cout << "Operation record\n";
        printOperation(*op, "  ");
    } else if (const auto* collector = dynamic_cast<const pwr::CollectorMetadata*>(&record)) {
        std::cout << "Collector record\n"
                  << "  Name: " << collector->getName() << "\n";
        printPairs(collector->getValues());
    } else {
        std::cout << "Record of type " << record.getType() << "\n";
    }
    std::cout << "\n";
}

int usage() {
    std::cerr << "usage: vantry-meta [--format-version N] FILE\n"
                 "       vantry-meta --probe [FILE]\n";
    return 2;
}

int probe(const char* path) {
    pwr::logContext().setVerbosity(PW_WARNING);
    pwr::UniqueId::initialize();
    pwr::SystemMetadata system;
    pwr::markProgramStart(system);
    const pwr::ProbeSources sources = pwr::defaultProbeSources();
    const int unread = pwr::probeSystem(system, sources);
    system.commandLine = {"vantry-meta", "--probe"};
    pwr::markCollectionStart(system);
    const double tscMHz = pwr::probeTscFrequencyMHz(sources.cpuid, 50);
    pwr::markCollectionStop(system);
    system.programStopTimeval = system.stopTimeval;

    pwr::Serializer out;
    system.serialize(out);
    std::vector<char> bytes = out.get_buffer();
    if (path != nullptr) {
        std::ofstream file(path, std::ios::binary);
        if (!file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()))) {
            std::cerr << "vantry-meta: cannot write " << path << "\n";
            pwr::UniqueId::destroy();
            return 1;
        }
    }
    pwr::Serializer in(bytes);
    std::unique_ptr<pwr::Metadata> record(pwr::Metadata::deserialize(in, 0));
    int status = 0;
    if (record) {
        printRecord(*record);
        std::cout << "Hypervisor present: " << (system.hyperVEnabled ? "yes" : "no") << "\n"
                  << "VSM enabled: " << (system.vsmEnabled ? "yes" : "no") << "\n"
                  << "HVCI enabled: " << (system.hvciEnabled ? "yes" : "no") << "\n"
                  << "TSC freq (MHz): " << tscMHz << "\n";
        // The tree as read back, one logical processor a line, with the
        // OS's own count beside it so that a missing processor shows.
        const auto& read = static_cast<const pwr::SystemMetadata&>(*record);
        std::vector<const pwr::TNode*> threads;
        read.getCPUTopology().getAllThreads(threads);
        const unsigned osCount = pwr::osLogicalProcessorCount();
        std::cout << "Logical processors: " << threads.size() << " in the topology, " << osCount
                  << " reported by the OS\n";
        for (const pwr::TNode* thread : threads) {
            const pwr::TNode* core = thread->getParent();
            const auto* value = dynamic_cast<const pwr::TNodeCore*>(core);
            std::cout << "\t" << thread->getFullyQualifiedName();
            if (value != nullptr && value->getCoreModelIDAndType() != pwr::TNodeCore::c_32BitMask) {
                std::cout << " (core value 0x" << std::hex << value->getCoreModelIDAndType()
                          << std::dec << ")";
            }
            std::cout << "\n";
        }
        std::cout << "Sources not read: " << unread << "\n";
        // Worth a warning, not a failure: the probe never fails as a whole,
        // and a machine without topology files still gets its record.
        if (threads.size() != osCount) {
            std::cerr << "WARNING: the topology holds " << threads.size()
                      << " logical processors, the OS reports " << osCount << "\n";
        }
    } else {
        std::cerr << "vantry-meta: the probed record cannot be read back\n";
        status = 1;
    }
    pwr::UniqueId::destroy();
    return status;
}

// Prints every record of path. Returns the exit status.
// A collection's result file (".vtr"): its records, features, options and
// how many sample records of each message it holds.
int printResultFile(const char* path) {
    pwr::logContext().setVerbosity(PW_WARNING);
    pwr::UniqueId::initialize();
    vantry::ResultHead head;
    vantry::ResultFileReader reader;
    std::string error;
    int status = 0;
    if (!reader.open(path, head, error)) {
        std::cerr << "vantry-meta: " << path << ": " << error << "\n";
        status = 1;
    } else {
        std::cout << "Result file, format " << head.formatVersion << "\n\n";
        for (const auto& record : head.metadata) {
            printRecord(*record);
        }
        std::cout << "Features:\n";
        for (const vantry::FeatureRecord& feature : head.features) {
            std::cout << "  " << feature.name << " (" << feature.prefix << "):";
            for (const std::string& message : feature.messages) {
                std::cout << " " << message;
            }
            std::cout << "\n";
        }
        std::cout << "Options:\n";
        printPairs(head.options);
        // Counted by reading them, so that a damaged record is found too.
        std::map<std::string, uint64_t> perMessage;
        uint64_t total = 0;
        vexa_driver_msg msg;
        while (reader.next(msg, error)) {
            ++perMessage[msg.msgName];
            ++total;
        }
        std::cout << "Sample records: " << total << "\n";
        for (const auto& entry : perMessage) {
            std::cout << "  " << entry.first << ": " << entry.second << "\n";
        }
        if (!error.empty()) {
            std::cerr << "vantry-meta: " << path << ": " << error << "\n";
            status = 1;
        } else if (!head.recoveryNote.empty()) {
            std::cout << (head.complete ? "Note: " : "Not complete: ") << head.recoveryNote << "\n";
        }
    }
    pwr::UniqueId::destroy();
    return status;
}

int printFile(const char* path, unsigned version) {
    // Only a regular file is read: a folder, a FIFO (whose open would wait
    // for a writer) or a device (/dev/zero never ends) is refused before any
    // read.
    std::vector<char> bytes;
    std::string reason;
    // A result file is read as a stream of frames, whatever its size.
    {
        std::FILE* file = pwr::openRegularFile(path, reason);
        if (file != nullptr) {
            char magic[4] = {};
            const bool result = std::fread(magic, 1, sizeof magic, file) == sizeof magic &&
                                std::memcmp(magic, "VTRF", sizeof magic) == 0;
            std::fclose(file);
            if (result) {
                return printResultFile(path);
            }
        }
    }
    if (!pwr::readRegularFile(path, c_maxFileBytes, bytes, reason)) {
        std::cerr << "vantry-meta: cannot open " << path << ": " << reason << "\n";
        return 1;
    }
    if (bytes.empty()) {
        std::cerr << "vantry-meta: " << path << " is empty\n";
        return 1;
    }

    // Reading a system record rebuilds the topology entities, which needs the
    // registry. Warnings about older records are worth showing; the reader's
    // information lines are not.
    pwr::logContext().setVerbosity(PW_WARNING);
    pwr::UniqueId::initialize();
    pwr::Serializer ser(bytes);
    int count = 0;
    int status = 0;
    for (;;) {
        uint32_t type = 0;
        if (ser.read(type) == 0) {
            // Fewer bytes than a type code: none at the end of a whole file,
            // otherwise the start of a record that was cut short.
            size_t stray = 0;
            for (char byte = 0; ser.read(byte) != 0;) {
                ++stray;
            }
            if (stray != 0) {
                std::cerr << "vantry-meta: " << path << ": " << stray
                          << (stray == 1 ? " byte" : " bytes") << " at offset "
                          << bytes.size() - stray
                          << (count == 0 ? "" : " after record " + std::to_string(count))
                          << (stray == 1 ? " does" : " do")
                          << " not form a record: the file is damaged\n";
                status = 1;
            }
            break;
        }
        ser.rewind_read(sizeof type);
        std::unique_ptr<pwr::Metadata> record(pwr::Metadata::deserialize(ser, version));
        if (!record) {
            std::cerr << "vantry-meta: " << path << ": record " << count + 1
                      << " cannot be read: the file is damaged or holds no Vantry metadata\n";
            status = 1;
            break;
        }
        ++count;
        printRecord(*record);
    }
    std::cout << count << " record" << (count == 1 ? "" : "s") << " read\n";
    pwr::UniqueId::destroy();
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    unsigned version = 0;
    const char* path = nullptr;
    const bool probing = argc >= 2 && std::strcmp(argv[1], "--probe") == 0;
    if (probing) {
        if (argc > 3) {
            return usage();
        }
        path = argc == 3 ? argv[2] : nullptr;
    } else {
        for (int i = 1; i < argc; ++i) {
            if (std::strcmp(argv[i], "--format-version") == 0 && i + 1 < argc) {
                char* end = nullptr;
                unsigned long v = std::strtoul(argv[++i], &end, 10);
                if (end == argv[i] || *end != '\0') {
                    return usage();
                }
                version = static_cast<unsigned>(v);
            } else if (argv[i][0] == '-' || path != nullptr) {
                return usage();
            } else {
                path = argv[i];
            }
        }
        if (path == nullptr) {
            return usage();
        }
    }
    // The readers report damage by their return value; this is the last
    // line of defence, so that no input ever ends the program with an abort.
    const std::string subject = probing ? std::string("--probe") : std::string(path);
    try {
        return probing ? probe(path) : printFile(path, version);
    } catch (const std::exception& e) {
        std::cerr << "vantry-meta: " << subject << " failed: " << e.what() << "\n";
    } catch (...) {
        std::cerr << "vantry-meta: " << subject << " failed\n";
    }
    return 1;
}
