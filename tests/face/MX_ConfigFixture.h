#pragma once

#include <array>
#include <string>

#include <gtest/gtest.h>

#include "face/MX_Config.h"
#include "tests/face/TestFolder.h"

using FACE::MX_Config;
using Code = FACE::RETURN_CODE_TYPE;
using Whence = FACE::Configuration::WHENCE_TYPE;

/// What MX_ConfigFile loads.
constexpr char const* example = R"(<?xml version="1.0"?>
<!-- settings -->
<MX_Configurations xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" xsi:noNamespaceSchemaLocation="a.xsd">
    <Thread>
        <Name>Meridane</Name>
        <Parameters>
            <System>Corvane</System>
            <Empty></Empty>
            <Blank>   </Blank>
            <Twice>first</Twice>
            <Twice>second</Twice>
            <Entities>&lt;a &amp; b&gt;</Entities>
            <Section><![CDATA[<raw>]]></Section>
            <Remarked><!-- a remark -->value</Remarked>
        </Parameters>
    </Thread>
    <Server>
        <Name>one</Name>
        <Parameters><Key>1</Key></Parameters>
    </Server>
    <Port>
        <Name>between</Name>
        <Parameters><Key>x</Key></Parameters>
    </Port>
    <Server>
        <Name>two</Name>
        <Parameters><Key>2</Key></Parameters>
    </Server>
    <Server>
        <Parameters><Key>nameless</Key></Parameters>
    </Server>
    <Server>
        <Name></Name>
        <Parameters><Key>empty name</Key></Parameters>
    </Server>
    <Server>
        <Name>three</Name>
        <Parameters><Key>3</Key></Parameters>
    </Server>
    <Bare>
        <Name>bare</Name>
    </Bare>
    <Nameless>
        <Parameters><Key>never</Key></Parameters>
    </Nameless>
</MX_Configurations>
)";

class MX_ConfigFile : public testing::Test {
protected:
    MX_ConfigFile() : path(folder.write("config.xml", example)) {
        Code::Value rc = Code::TIMED_OUT;
        config.Initialize(path.c_str(), rc);
        EXPECT_EQ(rc, Code::NO_ERROR);
    }

    int open(char const* name) {
        Code::Value rc = Code::TIMED_OUT;
        int handle = -1;
        config.Open(name, handle, rc);
        EXPECT_EQ(rc, Code::NO_ERROR) << name;
        return handle;
    }

    /// The value, or the name of the code that told why there is none.
    static std::string read(MX_Config& from, int handle, char const* parameter) {
        std::array<char, 256> buffer{};
        int bytes = -1;
        Code::Value rc = Code::TIMED_OUT;
        from.Read(handle, parameter, buffer.data(), buffer.size(), bytes, rc);
        if (rc != Code::NO_ERROR) {
            EXPECT_EQ(bytes, 0);
            return FACE::ToStdString(Code::ToString(rc));
        }
        return {buffer.data(), static_cast<std::size_t>(bytes)};
    }
    std::string read(int handle, char const* parameter) { return read(config, handle, parameter); }

    Code::Value write(int handle, char const* parameter, std::string text) {
        int bytes = -1;
        Code::Value rc = Code::TIMED_OUT;
        config.Write(handle, parameter, text.data(), static_cast<int>(text.size()), bytes, rc);
        EXPECT_EQ(bytes, rc == Code::NO_ERROR ? static_cast<int>(text.size()) : 0);
        return rc;
    }

    Code::Value seek(int handle, Whence::Value whence, int offset) {
        Code::Value rc = Code::TIMED_OUT;
        config.Seek(handle, whence, offset, rc);
        return rc;
    }

    /// The value as a new start of the program reads it.
    std::string readAgain(char const* container, char const* parameter) const {
        MX_Config again;
        Code::Value rc = Code::TIMED_OUT;
        int handle = -1;
        again.Initialize(path.c_str(), rc);
        EXPECT_EQ(rc, Code::NO_ERROR);
        again.Open(container, handle, rc);
        EXPECT_EQ(rc, Code::NO_ERROR);
        return read(again, handle, parameter);
    }

    TestFolder folder;
    std::string path;
    MX_Config config;
};
