// krvtool: the operator's look into the save files, with the server's own command table and
// record writer.
//   krvtool dump FILE          one line per record, grouped by entity
//   krvtool verify FILE        exit 0 when the whole file reads cleanly, else the first fault
//   krvtool compact FILE OUT   the same file in compact form
//   krvtool expand FILE OUT    the same file in normal form
//   krvtool stats FILE         entities by kind, players, coins
#include <cinttypes>
#include <cstdio>
#include <string>
#include <vector>

#include "krvtool/KrvFile.h"
#include "net/Packet.h"
#include "persist/Server_File.h"

namespace {

int Usage() {
    std::fputs("usage: krvtool dump FILE | verify FILE | compact FILE OUT | expand FILE OUT | stats FILE\n", stderr);
    return 2;
}

bool Load(const char* path, std::vector<uint8_t>* bytes) {
    Packet packet;
    if (!ReadKRVFileToPacket(&packet, path)) {
        std::fprintf(stderr, "krvtool: cannot read %s\n", path);
        return false;
    }
    bytes->assign(packet.Data(), packet.Data() + packet.Length());
    return true;
}

bool Store(const char* path, const std::vector<uint8_t>& bytes) {
    FILE* f = std::fopen(path, "wb");
    bool ok = f && std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    if (f && std::fclose(f) != 0) ok = false;
    if (!ok) std::fprintf(stderr, "krvtool: cannot write %s\n", path);
    return ok;
}

int ReportFault(const char* path, const krv::File& file) {
    std::fprintf(stderr, "%s: fault at byte %u: %s\n", path, file.m_Fault.m_uiOffset, file.m_Fault.m_strWhat.c_str());
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) return Usage();
    std::string command = argv[1];
    bool convert = command == "compact" || command == "expand";
    if (argc != (convert ? 4 : 3)) return Usage();
    std::vector<uint8_t> bytes;
    if (!Load(argv[2], &bytes)) return 1;
    krv::File file = krv::Parse(bytes);

    if (command == "dump") {
        std::fputs(krv::Dump(file).c_str(), stdout);
        return file.m_bFault ? 1 : 0;
    }
    if (command == "verify") {
        if (file.m_bFault) return ReportFault(argv[2], file);
        std::printf("%s: version %u, %zu records, no fault\n", argv[2], file.m_ucVersion, file.m_Records.size());
        return 0;
    }
    if (convert) {
        if (file.m_bFault) return ReportFault(argv[2], file);
        return Store(argv[3], krv::Reencode(file, command == "compact")) ? 0 : 1;
    }
    if (command == "stats") {
        krv::Stats s = krv::ComputeStats(file);
        for (const auto& [kind, count] : s.m_EntitiesByKind)
            std::printf("entities %-14s %" PRIu64 "\n", kind.c_str(), count);
        std::printf("players %" PRIu64 "\n", s.m_uiPlayers);
        std::printf("coins in pockets %" PRIu64 "\n", s.m_uiPocketCoins);
        std::printf("coins stored in property %" PRIu64 "\n", s.m_uiStoredCoins);
        std::printf("coins in circulation %" PRIu64 "\n", s.m_uiPocketCoins + s.m_uiStoredCoins);
        if (file.m_bFault) return ReportFault(argv[2], file);
        return 0;
    }
    return Usage();
}
