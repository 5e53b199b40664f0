// A client number: it indexes the per-client arrays every entity carries. The server hands one
// to each client for the client's whole life and keeps returned ones on a free list.
#pragma once
#include <cstdint>

struct Server_WeirdLink {
    Server_WeirdLink* m_pNext = nullptr; // next free number
    uint32_t m_uiNumber = 0;
};
