#pragma once

#include "xml/Xerces_Types.h"

#include <string>

/// Ties a file to an object that knows its format: finds, reads, writes and deletes it. A relative path is
/// taken against the working directory. No locks: who shares an object holds the mutex that goes with it.
/// Failures give false; the reason is logged and kept.
class _Base_Config_File {
public:
    _Base_Config_File() = default;
    _Base_Config_File(const _Base_Config_File&) = delete;
    _Base_Config_File& operator=(const _Base_Config_File&) = delete;

protected:
    virtual bool configParse(xercesc::MemBufInputSource& source) = 0;
    /// A new array that the caller frees with array delete.
    virtual bool configSerialize(char*& buffer, unsigned& length) = 0;

public:
    /// Path name, "/" and file name.
    virtual std::string getFilePathname() const;
    virtual ~_Base_Config_File() = default;
    virtual std::string getFilename() const { return filename_; }
    virtual void setFilename(std::string filename);
    virtual std::string getPathname() const { return pathname_; }
    virtual void setPathname(std::string pathname);

    /// Whether the file can be opened for reading.
    virtual bool findFile();
    virtual bool readFile();
    /// Replaces the file in one step; see File_WriteAtomically, whose temporary file has ".tmp" at the end. A
    /// new file gets permissions 0660 less the umask, an existing one keeps its own.
    virtual bool writeFile();
    virtual bool deleteFile();

    /// One line for a person why the last operation failed, such as
    /// `agent.conf: ServerInfo: attribute "port" is missing or empty; expected a decimal port number`.
    /// Empty if it did not fail.
    const std::string& lastError() const { return lastError_; }

protected:
    /// Keeps and logs a reason, in front of which it puts the file's name. False, to be returned.
    bool fail(const std::string& reason);
    bool succeed();
    static xercesc::InputSource& asInputSource(xercesc::MemBufInputSource& source);

private:
    bool failOnPath(const char* action);

    std::string pathname_;
    std::string filename_;
    std::string lastError_;
};

/// A file whose content is a T, derived from Config_Configuration and held by value.
template <class T>
class Config_File : public _Base_Config_File {
public:
    /// Lives as long as this object.
    virtual T* getConfig() { return &configuration_; }

protected:
    bool configParse(xercesc::MemBufInputSource& source) override {
        return configuration_.parse(asInputSource(source)) || fail(configuration_.lastError());
    }
    bool configSerialize(char*& buffer, unsigned& length) override {
        return configuration_.serialize(buffer, length) || fail(configuration_.lastError());
    }

private:
    T configuration_;
};
