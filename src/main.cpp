#include "core/MenuMain.h"

int main(int argc, char** argv) { return RunQuorvane(argc, argv); }
