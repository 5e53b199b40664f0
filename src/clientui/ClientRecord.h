// What the server keeps of the windows, menus and texture transfer of one client. The
// operations on them are members of Server_Client, defined in clientui/ServerWindows.cpp,
// clientui/ServerTextures.cpp and clientui/AdminHelp.cpp.
#pragma once
#include <cstdint>
#include <string>

#include "base/PointerStringList.h"

struct UpdateNewsFile {
    virtual ~UpdateNewsFile() = default;
    std::string m_strName;
};
class UpdateNewsFileList : public PointerStringList<UpdateNewsFile> {
public:
    ~UpdateNewsFileList() override = default;
};

// One file of "ServerTextures/" offered to one client. The data is read when the file is
// offered and never again, so a file changed or removed later is sent as it was.
struct ServerTextureFile {
    virtual ~ServerTextureFile() = default;
    std::string m_strName; // without the folder; at most 255 bytes, as the wire gives it one length byte
    std::string m_strData;
    uint32_t m_uiSentOffset = 0;
    uint32_t m_uiSize = 0;
    uint32_t m_uiTextureNumber = 0;
    bool m_bRequested = false;
    // Of m_strData, wrapping; kept so that an answer costs no pass over the data.
    uint32_t m_uiByteSum = 0;
};
class ServerTextureFileList : public PointerStringList<ServerTextureFile> {
public:
    ~ServerTextureFileList() override = default;
};

// The special menu, the update news and the scroll viewer.
struct ClientWindows {
    bool m_bSpecialMenuOpen = false;
    bool m_bUpdateNewsOpen = false;
    UpdateNewsFileList m_UpdateNewsFiles;
    int32_t m_iCurrentNewsItem = -1;
    uint32_t m_uiScrollTopLine = 0;
    ArrayOfStrings m_ScrollLines;
    bool m_bScrollViewerShown = false;
};

// The server textures offered to the client and how far their transfer has come.
struct ClientTextures {
    ServerTextureFileList m_ServerTextures;
};
