#ifndef ZT_TESTS_PRECOMPILED_H
#define ZT_TESTS_PRECOMPILED_H

#include "support/Interpose.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#endif
