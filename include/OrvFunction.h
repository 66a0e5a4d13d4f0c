/** @file
 * OrvFunction: the application's environment and settings, result-code
 * texts, text and address conversion, processes, storage and system facts.
 *
 * Every function is synchronous and reports failure through its return
 * value. Settings, caches and the globals behind them are meant for the
 * application's main thread.
 *
 * Writes of CustomConfig.ini (storeLanguage, softwareVersion, the filter
 * setters, setCustomConfig):
 *  - Once the call has returned, the file holds the new value, whole, and
 *    keeps it through a power cut (the file and its folder are synced);
 *    readers see the old file or the new one, never a mix.
 *  - A write that cannot be completed (a full disk, a folder that may not
 *    be written) leaves the file as it was and logs a warning (qWarning)
 *    that names the reason.
 *  - Processes writing at once are served one after the other and lose
 *    nothing. A write waits at most about a second for the others; if one
 *    holds on longer, the write is not made, and says so in a warning.
 *  - A symbolic link is followed: the file it leads to is replaced, and the
 *    library's own files (a lock file ".commontools-CustomConfig.ini.lock",
 *    which stays, and private copies ".commontools-CustomConfig.ini.staging-*"
 *    that a killed writer may leave, which the next write removes) are made
 *    beside that file. No other file there is touched.
 *  - On a file system without file locks (NFS without its lock service),
 *    writes of several processes at once are not kept apart, and copies that
 *    a killed writer left stay.
 */
#ifndef ORVFUNCTION_H
#define ORVFUNCTION_H

#include "commontools_export.h"

#include <QFileDialog>
#include <QList>
#include <QString>

class QTextCodec;
class QWidget;

/** Text encoding used by the encoding-switch functions: 0 selects UTF-8,
 * any other value the locale's codec (the fixed underlying type makes every
 * int a valid value). */
enum _ENCODING_TYPE_ : int {
    ENCODING_TYPE_UTF8 = 0,
    ENCODING_TYPE_LOCAL = 1,
};

/** Path of the application's read-only INI file ("app.ini"): the path given
 * to OrvInterface::setAppIniFile, or the application directory followed by
 * "/readonlyCfg/app.ini". Whether the file exists is not checked. */
COMMONTOOLS_EXPORT QString GetAppIniFile();

/** The message for a device, SDK, upgrade, login, project, module, image or
 * socket code (0x9000xxxx), translated with the QObject context; an empty
 * string when the code has none. */
COMMONTOOLS_EXPORT QString GenerateHraErrorDesc(int code);

/** Text and byte buffers in a code page. A null codec means UTF-8.
 *
 * interCutString: the longest prefix of s whose encoding fits in n bytes,
 * dropping whole characters (down to n / 3 of them); s whole when none
 * fits or n is negative. interCutStringLocale measures with toLocal8Bit().
 *
 * interChar2QString: decodes p up to its first NUL; with n > 0 at most n
 * bytes are read, a terminator being supplied when they hold none.
 *
 * interString2Char: zero-fills the first n bytes of buf (n >= 0), then
 * copies the encoding of interCutString(s, n, codec), without terminator.
 * The copy is not clamped to n: with UTF-8 and n >= 0 it always fits; a
 * codec with characters longer than three bytes, or a negative n, writes
 * the whole encoding. Pass one less than the buffer size for a terminated
 * string. */
///@{
COMMONTOOLS_EXPORT QString interCutString(const QString& s, int n, QTextCodec* codec);
COMMONTOOLS_EXPORT QString interCutStringLocale(const QString& s, int n);
COMMONTOOLS_EXPORT QString interChar2QString(const char* p, int n, QTextCodec* codec);
COMMONTOOLS_EXPORT void interString2Char(const QString& s, char* buf, int n, QTextCodec* codec);
///@}

namespace OrvInterface {

/* ---- Application identity and directories ---------------------------- */

/** Replaces the path returned by GetAppIniFile(); an empty path restores the
 * default. Call it before anything that reads the application name: the
 * name is cached from whichever file was current at the time. */
COMMONTOOLS_EXPORT void setAppIniFile(const QString& path);

/** The architecture the library is built for: "armhf". */
COMMONTOOLS_EXPORT QString curExeVersion();

/** True when every bit of flag is set in flags; a zero flag matches only
 * zero flags. */
///@{
COMMONTOOLS_EXPORT bool testFlag(int flag, int flags);
COMMONTOOLS_EXPORT bool testFlag(unsigned int flag, unsigned int flags);
///@}

/** Folder in which the next file dialog opens when none is given. */
COMMONTOOLS_EXPORT void setFileDialogDefaultPath(const QString& path);

/** The application's name: "APPName" of app.ini (plain text) when that file
 * exists, else of readonlyCfg/CommonTools.ini (Base64), else "Orvik". */
COMMONTOOLS_EXPORT QString appName();

/** "/opt/<appName>/bin/Temp", created when missing. */
COMMONTOOLS_EXPORT QString userDataPath();
/** "/opt/<appName>/bin/Cfg", never created. */
COMMONTOOLS_EXPORT QString systemTemp();
/** "/opt/<appName>/bin/Cfg", created when missing; holds CustomConfig.ini. */
COMMONTOOLS_EXPORT QString programDataPath();
/** The directory of the running executable. */
COMMONTOOLS_EXPORT QString readonlyCfgPath();
/** Empty on this platform. */
///@{
COMMONTOOLS_EXPORT QString commonFilesPath();
COMMONTOOLS_EXPORT QString localPath();
COMMONTOOLS_EXPORT QString systemDir(int which);
///@}

/* ---- Language, version and user settings ----------------------------- */
/** The user-interface language code ("ENG", "CH" or what the client
 * stored). The cached code is returned unless reload is true or the cache
 * is empty; then it is read from CustomConfig.ini, or detected from the
 * shell's LANG when the file has none. Without CustomConfig.ini the result
 * is "ENG" and the cache is left alone. */
COMMONTOOLS_EXPORT QString language(bool reload = false);
/** Replaces the cached language code; nothing is written. */
COMMONTOOLS_EXPORT void setLanguage(const QString& language);
/** Writes the cached language code to CustomConfig.ini. */
COMMONTOOLS_EXPORT void storeLanguage();
/** Makes the library's messages (GenerateErrorDesc, GenerateHraErrorDesc,
 * IntCode2DisplayCode) appear in language. "CH" installs the library's
 * Simplified Chinese translation on the application, in place of one it
 * installed before, and returns true; "ENG" removes that translation and
 * returns true; any other code removes it and returns false. Without a
 * QCoreApplication it does nothing and returns false. Call it at start-up
 * with language(), and again after setLanguage. */
COMMONTOOLS_EXPORT bool installTranslation(const QString& language);
/** The software version: "SoftwareVersion" of app.ini when that file exists,
 * else of CustomConfig.ini, where "1.0.0" is written when absent. Cached
 * for the life of the process. */
COMMONTOOLS_EXPORT QString softwareVersion();

/* ---- Device enumeration filters ----------------------------------------- */
/* Kept in CustomConfig.ini. The setters never create that file: without it
 * they do nothing (see setCustomConfig, softwareVersion, storeLanguage). */

/** True when "Vision" holds exactly "NEU". */
COMMONTOOLS_EXPORT bool isNeutralVision();
/** The enumeration filter texts; empty when absent. */
///@{
COMMONTOOLS_EXPORT QString enumFilter();
COMMONTOOLS_EXPORT QString unEnumFilter();
///@}
/** The filter states: 0 without the file; when the key is absent, 2 for the
 * vendor state and 0 for the model state. Stored as plain integers. The
 * setters do nothing without CustomConfig.ini: they never create it. */
///@{
COMMONTOOLS_EXPORT int vendorFilterState();
COMMONTOOLS_EXPORT int modelFilterState();
COMMONTOOLS_EXPORT void setVendorFilterState(const int& state);
COMMONTOOLS_EXPORT void setModelFilterState(const int& state);
///@}
/** The include and exclude lists, single strings; null when absent. The
 * setters do nothing without CustomConfig.ini: they never create it. */
///@{
COMMONTOOLS_EXPORT QString vendorFilterInclude();
COMMONTOOLS_EXPORT QString vendorFilterExclude();
COMMONTOOLS_EXPORT QString modelFilterInclude();
COMMONTOOLS_EXPORT QString modelFilterExclude();
COMMONTOOLS_EXPORT void setVendorFilterInclude(const QString& list);
COMMONTOOLS_EXPORT void setVendorFilterExclude(const QString& list);
COMMONTOOLS_EXPORT void setModelFilterInclude(const QString& list);
COMMONTOOLS_EXPORT void setModelFilterExclude(const QString& list);
///@}

/* ---- Feature configuration and custom settings --------------------------- */

/** An entry of app.ini (plain UTF-8), or of readonlyCfg/CommonTools.ini
 * (Base64) when app.ini does not exist. */
COMMONTOOLS_EXPORT QString softwareConfigInfor(QString key);
/** "BasicFeatureFilter" of CustomConfig.ini; the built-in list
 * "Quellon/quellon/Sarvendi/sarvendi/GEV/U3V" without that file. */
COMMONTOOLS_EXPORT QString basicFeatureFilter();
/** "ToolsSupportNum" of CustomConfig.ini; 20 unless it is a positive number. */
COMMONTOOLS_EXPORT unsigned int toolsSupportNum();
/** The client's own settings in CustomConfig.ini (created when missing). A
 * key holding "/" names an INI group. Characters outside Latin-1 are not
 * kept. */
///@{
COMMONTOOLS_EXPORT void setCustomConfig(const QString& key, const QString& value);
COMMONTOOLS_EXPORT QString getCustomConfig(const QString& key);
///@}

/* ---- Shell commands and processes ------------------------------------- */

/** Runs command through /bin/sh and returns everything it wrote to its
 * standard output, unmodified; an empty string when it printed nothing or
 * could not be started. */
COMMONTOOLS_EXPORT QString execCommand(const QString& command);
/** The first id of the processes named name (as pidof finds them), or -1.
 * When ids is given, every id found is appended to it in the order
 * printed. */
COMMONTOOLS_EXPORT long long processID(const QString& name, QList<long long>* ids = nullptr);
/** Sends SIGKILL to pid; ids below 1 are ignored. */
COMMONTOOLS_EXPORT void killProcess(long long pid);
/** Sends SIGKILL to every process named name. */
COMMONTOOLS_EXPORT void killProcess(const QString& name);

/* ---- System information ---------------------------------------------------- */

/** Codes of systemName(). */
enum SystemNameCode : int {
    SystemUnknown = 0,
    SystemRaspberryPi = 8,
    SystemOdroid = 9,
    SystemUbuntu = 10,
    SystemCentOS = 11,
    SystemRedHat = 12,
};

/** The processor names of /proc/cpuinfo, each with its count. */
COMMONTOOLS_EXPORT QString cpu();
/** The number of configured processors. */
COMMONTOOLS_EXPORT QString numOfCpu();
/** The MemTotal and MemAvailable texts of /proc/meminfo (for example
 * "3884096 kB"); without MemAvailable, MemFree + 0.8 * (Buffers + Cached)
 * as "<number> KB". */
///@{
COMMONTOOLS_EXPORT QString totalMmeory();
COMMONTOOLS_EXPORT QString availbleMmeory();
///@}
/** value ("123456 kB", "2 GB", "1024") in units of unit ("KB" when empty):
 * 1 for "B", 2^10 "KB", 2^20 "MB", 2^30 "GB", case-insensitive. */
COMMONTOOLS_EXPORT qint64 parseMmeory(const QString& value, const QString& unit);
/** "Little Endian". */
COMMONTOOLS_EXPORT QString byteOrder();
/** The distribution's description; prints "-------------" on standard
 * output when lsb_release gives one. */
COMMONTOOLS_EXPORT QString operatingSys();
/** A SystemNameCode, worked out once per process. */
COMMONTOOLS_EXPORT int systemName();
/** Empty on this platform. */
COMMONTOOLS_EXPORT QString graphicsChips();
/** "1920*1080": the default screen. Needs a QGuiApplication or QApplication
 * (empty without). */
COMMONTOOLS_EXPORT QString resolution();
/** The client's "computer is asleep" flag; the library never changes it. */
///@{
COMMONTOOLS_EXPORT bool isPCSleep();
COMMONTOOLS_EXPORT void setIsPCSleep(bool asleep);
///@}
/** 2 on this platform. */
COMMONTOOLS_EXPORT int systemType();

/* ---- File dialogs and storage checks --------------------------------------- */

/** The dialogs open in dir, else in the folder of the last choice (at first
 * userDataPath()), and remember the folder chosen. They refuse the root
 * folder: the result is then empty and *ok false. Call them on the GUI
 * thread. */
///@{
COMMONTOOLS_EXPORT QString getOpenFileName(QWidget* parent = nullptr, const QString& caption = QString(),
                                           const QString& dir = QString(), const QString& filter = QString(),
                                           QString* selectedFilter = nullptr,
                                           QFileDialog::Options options = QFileDialog::Options());
COMMONTOOLS_EXPORT QString getSaveFileName(QWidget* parent = nullptr, const QString& caption = QString(),
                                           const QString& dir = QString(), const QString& fileName = QString(),
                                           const QString& filter = QString(), bool* ok = nullptr,
                                           QString* selectedFilter = nullptr,
                                           QFileDialog::Options options = QFileDialog::Options());
COMMONTOOLS_EXPORT QString getExistingDirectory(QWidget* parent = nullptr, const QString& caption = QString(),
                                                const QString& dir = QString(), bool* ok = nullptr,
                                                QFileDialog::Options options = QFileDialog::ShowDirsOnly);
///@}
/** False only for "/" exactly. */
COMMONTOOLS_EXPORT bool isSupportDir(const QString& path);
/** Whether the volume holding path (or the folder of path when it is not an
 * existing folder) has fewer than minBytes available; *valid tells whether
 * the volume could be measured (an unmeasured one counts as full). */
COMMONTOOLS_EXPORT bool IsDiskFull(const QString& path, long long minBytes, bool* valid = nullptr);
/** Whether a file can be created in the folder path (isFile false) or in the
 * folder of the file path (isFile true), by creating and removing the probe
 * "Permission.Test" there. Note that an existing file of that name is
 * removed, and that a file path without any "/" is itself the probe: that
 * file is removed when it can be opened for writing. */
COMMONTOOLS_EXPORT bool testDirPermission(const QString& path, bool isFile);

/* ---- Messages for result codes ---------------------------------------- */

/** The message for any result code: the device and service table first
 * (GenerateHraErrorDesc), then the client's own 0x70000001..0x7000001F,
 * else "Operation failed.". Translated with the QObject context. */
COMMONTOOLS_EXPORT QString GenerateErrorDesc(int code);
/** "(Error Code : 0x9000610a)": the label shown beside a message. */
COMMONTOOLS_EXPORT QString IntCode2DisplayCode(unsigned int code);
/** "0x" and the upper-case hexadecimal digits of high:low (high omitted
 * when 0), zero-padded to width digits; 0 with width 0 gives "0x". */
COMMONTOOLS_EXPORT QString toHexadecimalString(int low, int high, int width);

/* ---- Text in code pages -------------------------------------------------- */

/** The inter* functions above with the codec named (unknown names mean
 * UTF-8) or the locale's codec. */
///@{
COMMONTOOLS_EXPORT QString cutString(const QString& s, int n, const char* codecName);
COMMONTOOLS_EXPORT QString cutStringLocale(const QString& s, int n);
COMMONTOOLS_EXPORT QString char2QString(const char* p, int n, const char* codecName);
COMMONTOOLS_EXPORT QString char2QStringLocale(const char* p, int n);
COMMONTOOLS_EXPORT QString uchar2QString(const unsigned char* p, int n, const char* codecName);
COMMONTOOLS_EXPORT QString uchar2QStringLocale(const unsigned char* p, int n);
COMMONTOOLS_EXPORT void string2Char(const QString& s, char* buf, int n, const char* codecName);
COMMONTOOLS_EXPORT void string2CharLocale(const QString& s, char* buf, int n);
COMMONTOOLS_EXPORT void string2Uchar(const QString& s, unsigned char* buf, int n, const char* codecName);
COMMONTOOLS_EXPORT void string2UcharLocale(const QString& s, unsigned char* buf, int n);
///@}

/** The library-wide switch of the three functions below: UTF-8 for
 * ENCODING_TYPE_UTF8 (0), the locale's codec for any other value (the
 * starting one). */
///@{
COMMONTOOLS_EXPORT void SetEncodingType(_ENCODING_TYPE_ type);
COMMONTOOLS_EXPORT QString GetEncodeQStringFromChar(const char* p, int n);
COMMONTOOLS_EXPORT QString GetEncodeQStringFromUnChar(const unsigned char* p, int n);
COMMONTOOLS_EXPORT void CovertEncodeCharFromQString(const QString& s, char* buf, int n);
///@}

/* ---- Addresses and numbers ----------------------------------------------- */

/** a.b.c.d is (a << 24) + (b << 16) + (c << 8) + d. */
COMMONTOOLS_EXPORT QString numIP2StrIP(int ip);
/** -1 unless there are four parts; parts are added, so 256 carries. */
COMMONTOOLS_EXPORT int strIP2IntIP(const QString& ip);
/** "00:11:22:33:44:55" from the low 16 bits of high and the 32 of low. */
COMMONTOOLS_EXPORT QString int2StringMacAddress(unsigned int high, unsigned int low);
/** The same from bits 47..0 of mac. */
COMMONTOOLS_EXPORT QString int64_2StringMacAddress(unsigned long long mac);
/** Six ":"-separated hexadecimal parts into high and low; both 0 when the
 * text has not six parts. */
COMMONTOOLS_EXPORT void string2IntMacAddress(const QString& mac, unsigned int& high, unsigned int& low);
/** A usable host address: four decimal octets up to 255, the first 1..223
 * and not 127, the last neither 0 nor 255. */
COMMONTOOLS_EXPORT bool CheckIpAble(QString ip);
/** A contiguous mask of 1 to 30 bits, written as four decimal octets. */
COMMONTOOLS_EXPORT bool CheckSubnetMask(QString mask);
/** Hexadecimal when "0x" occurs in s, else decimal; 0 when not a number. */
COMMONTOOLS_EXPORT long long string2Int(const QString& s);
/** "0x" and lower-case digits (a negative value shows its 64-bit pattern). */
COMMONTOOLS_EXPORT QString Int2HexNumberQString(long long value);
/** Decimal when s reads as decimal, else hexadecimal, else 0. */
COMMONTOOLS_EXPORT long long HexNumberQString2Int(const QString& s);
/** True when s holds only the digits 0 to 9 (also when it is empty). */
COMMONTOOLS_EXPORT bool CheckIsNumber(QString s);
/** Removes the characters % / : ? > \\ ' " * < | from s. */
COMMONTOOLS_EXPORT void RemoveIllegalChar(QString& s);

} // namespace OrvInterface

#endif // ORVFUNCTION_H
