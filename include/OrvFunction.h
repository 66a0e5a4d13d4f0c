/** @file
 * OrvFunction: the application's identity, folders and settings, messages
 * for result codes, text in code pages, addresses, shell commands, facts
 * about the machine, file dialogs and storage checks.
 *
 * @par Threads
 * Every function is synchronous. The settings, the caches (application
 * name, language, software version, dialog folder, encoding switch) and the
 * globals behind them are meant for the application's main thread; the
 * dialogs must run on the GUI thread.
 *
 * @par Failures
 * Where a function returns a value, that value reports failure (an empty
 * string, -1, false, as each function says); the settings writers, which
 * return nothing, log a warning instead. No function throws.
 *
 * @par Writes of CustomConfig.ini
 * storeLanguage, softwareVersion, the filter setters, setCustomConfig and
 * setCustomConfigUtf8 write the user's settings so:
 *  - Once the call has returned, the file holds the new value, whole, and
 *    keeps it through a power cut (the file and its folder are synced);
 *    readers see the old file or the new one, never a mix.
 *  - A write that cannot be completed (a full disk, a folder that may not
 *    be written) leaves the file as it was and logs a warning (qWarning)
 *    that names the reason. The one exception: when the folder cannot be
 *    synced after the new file took its place, the file holds the new
 *    value, and the warning says that it may not be on the disk yet.
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
 *
 * @par Text in the settings
 * setCustomConfig() stores text as Base64 of its Latin-1 bytes, read back
 * as UTF-8: only ASCII text comes back as it was written.
 * setCustomConfigUtf8() and getCustomConfigUtf8() keep any text. See
 * @ref settings_convention.
 */
#ifndef ORVFUNCTION_H
#define ORVFUNCTION_H

#include "commontools_export.h"

#include <QFileDialog>
#include <QList>
#include <QString>

class QTextCodec;
class QWidget;

/** Text encoding of the encoding switch (OrvInterface::SetEncodingType): 0
 * selects UTF-8, any other value the locale's codec (the fixed underlying
 * type makes every int a valid value). */
enum _ENCODING_TYPE_ : int {
    ENCODING_TYPE_UTF8 = 0,  ///< UTF-8
    ENCODING_TYPE_LOCAL = 1, ///< the locale's codec (QTextCodec::codecForLocale()), the starting value
};

namespace OrvInterface {

/** @name Application identity and folders
 * The application is named by "APPName" of its app.ini; its folders are
 * under /opt/\<name\>. See also ::GetAppIniFile.
 * @{ */

/** Replaces the path returned by ::GetAppIniFile; an empty path restores the
 * default. Call it before anything that reads the application name: the
 * name is cached from whichever file was current at the time. */
COMMONTOOLS_EXPORT void setAppIniFile(const QString& path);

/** The application's name: "APPName" of app.ini (plain text; empty when the
 * file exists without that key) when that file exists, else "APPName" of
 * readonlyCfg/CommonTools.ini in the folder of the executable (Base64),
 * else "Orvik". A non-empty name read from a file is cached for the life
 * of the process. */
COMMONTOOLS_EXPORT QString appName();

/** "/opt/<appName>/bin/Temp", created when missing: the folder of the
 * client's working files, where the file dialogs first open. */
COMMONTOOLS_EXPORT QString userDataPath();

/** "/opt/<appName>/bin/Cfg", never created (the same folder as
 * programDataPath()). */
COMMONTOOLS_EXPORT QString systemTemp();

/** "/opt/<appName>/bin/Cfg", created when missing; holds CustomConfig.ini. */
COMMONTOOLS_EXPORT QString programDataPath();

/** The folder of the running executable
 * (QCoreApplication::applicationDirPath()). */
COMMONTOOLS_EXPORT QString readonlyCfgPath();

/** Always empty on this platform. */
COMMONTOOLS_EXPORT QString commonFilesPath();

/** Always empty on this platform. */
COMMONTOOLS_EXPORT QString localPath();

/** Always empty on this platform, whatever which is. */
COMMONTOOLS_EXPORT QString systemDir(int which);

/** Always "armhf", whatever the processor the library runs on (a constant
 * kept for the client, see @ref compatibility). */
COMMONTOOLS_EXPORT QString curExeVersion();

/** @} */

/** @name Language and software version
 * Kept in CustomConfig.ini (see @ref settings_convention), cached in the
 * process.
 * @{ */

/** The user-interface language code ("ENG", "CH" or what the client
 * stored). The cached code is returned unless reload is true or the cache
 * is empty; then it is read from CustomConfig.ini, or, when the file has
 * none, detected from the shell's LANG ("CH" when it holds "zh_CN", else
 * "ENG") and cached without being stored. Without CustomConfig.ini the
 * result is "ENG" and the cache is left alone. */
COMMONTOOLS_EXPORT QString language(bool reload = false);

/** Replaces the cached language code; nothing is written (see
 * storeLanguage()). */
COMMONTOOLS_EXPORT void setLanguage(const QString& language);

/** Writes the cached language code to CustomConfig.ini, creating the file
 * when missing. */
COMMONTOOLS_EXPORT void storeLanguage();

/** Makes the library's messages (GenerateErrorDesc, ::GenerateHraErrorDesc,
 * IntCode2DisplayCode) appear in language. "CH" installs the library's
 * Simplified Chinese translation on the application, in place of one it
 * installed before, and returns true; "ENG" removes that translation and
 * returns true; any other code removes it and returns false. Without a
 * QCoreApplication it does nothing and returns false. Call it at start-up
 * with language(), and again after setLanguage. */
COMMONTOOLS_EXPORT bool installTranslation(const QString& language);

/** The software version: "SoftwareVersion" of app.ini (plain text) when
 * that file exists, else of CustomConfig.ini, where "1.0.0" is written
 * (creating the file) when absent. A non-empty version is cached for the
 * life of the process. */
COMMONTOOLS_EXPORT QString softwareVersion();

/** @} */

/** @name The client's settings and features
 * The client's own values in CustomConfig.ini and the read-only entries of
 * app.ini. Text is stored by the settings convention
 * (@ref settings_convention): only ASCII comes back as it was written, but
 * for the values written by setCustomConfigUtf8().
 * @{ */

/** Stores value under key in CustomConfig.ini, creating the file when
 * missing. A key holding "/" names an INI group ("Camera/Name"). The value
 * is written as Base64 of its Latin-1 bytes: characters outside Latin-1
 * become "?", and getCustomConfig() reads non-ASCII characters back wrong
 * ("Kamera Süd" as "Kamera S\uFFFDd", "深色 dark" as "?? dark"). */
COMMONTOOLS_EXPORT void setCustomConfig(const QString& key, const QString& value);

/** The value stored under key in CustomConfig.ini, Base64-decoded and read
 * as UTF-8 up to its first NUL; empty when the file or the key is
 * missing. */
COMMONTOOLS_EXPORT QString getCustomConfig(const QString& key);

/** Stores value under key in CustomConfig.ini as Base64 of its UTF-8 bytes,
 * creating the file when missing, so that any text comes back whole:
 * "深色 dark" is read back as "深色 dark" by getCustomConfigUtf8() and by
 * getCustomConfig() alike (which read every value as UTF-8). Use it for
 * text a user types; setCustomConfig() stays for values that readers of
 * older releases must find as they always did (they decode these too).
 * @since 1.1 */
COMMONTOOLS_EXPORT void setCustomConfigUtf8(const QString& key, const QString& value);

/** The value stored under key in CustomConfig.ini, Base64-decoded and read
 * as UTF-8 up to its first NUL, as getCustomConfig() reads it, but a null
 * string when the file or the key is missing, so that an absent key and an
 * empty value can be told apart. @since 1.1 */
COMMONTOOLS_EXPORT QString getCustomConfigUtf8(const QString& key);

/** An entry of app.ini (plain UTF-8 text) when that file exists, else of
 * readonlyCfg/CommonTools.ini in the folder of the executable (Base64);
 * empty when neither file or the key exists. */
COMMONTOOLS_EXPORT QString softwareConfigInfor(QString key);

/** "BasicFeatureFilter" of CustomConfig.ini (empty when absent); the
 * built-in list "Quellon/quellon/Sarvendi/sarvendi/GEV/U3V" when that file
 * does not exist. */
COMMONTOOLS_EXPORT QString basicFeatureFilter();

/** "ToolsSupportNum" of CustomConfig.ini; 20 unless it is a positive
 * number (and without the file). */
COMMONTOOLS_EXPORT unsigned int toolsSupportNum();

/** @} */

/** @name Device enumeration filters
 * Kept in CustomConfig.ini; the library stores and returns them, the client
 * applies them. The setters never create that file: without it they do
 * nothing (setCustomConfig, softwareVersion and storeLanguage create it).
 * @{ */

/** True when "Vision" holds exactly "NEU". */
COMMONTOOLS_EXPORT bool isNeutralVision();

/** "EnumFilter": the enumeration filter text; empty when absent. */
COMMONTOOLS_EXPORT QString enumFilter();

/** "UnEnumFilter": the exclusion filter text; empty when absent. */
COMMONTOOLS_EXPORT QString unEnumFilter();

/** "VendorFilter": the vendor filter state, a plain integer; 2 when the
 * key is absent, 0 without CustomConfig.ini. */
COMMONTOOLS_EXPORT int vendorFilterState();

/** "ModelFilter": the model filter state, a plain integer; 0 when the key
 * or CustomConfig.ini is absent. */
COMMONTOOLS_EXPORT int modelFilterState();

/** Stores state as "VendorFilter"; nothing without CustomConfig.ini. */
COMMONTOOLS_EXPORT void setVendorFilterState(const int& state);

/** Stores state as "ModelFilter"; nothing without CustomConfig.ini. */
COMMONTOOLS_EXPORT void setModelFilterState(const int& state);

/** "VendorInclude": the vendors to include, one string; null when the key
 * or CustomConfig.ini is absent. */
COMMONTOOLS_EXPORT QString vendorFilterInclude();

/** "VendorExclude": the vendors to exclude; null when absent. */
COMMONTOOLS_EXPORT QString vendorFilterExclude();

/** "ModelInclude": the models to include; null when absent. */
COMMONTOOLS_EXPORT QString modelFilterInclude();

/** "ModelExclude": the models to exclude; null when absent. */
COMMONTOOLS_EXPORT QString modelFilterExclude();

/** Stores list as "VendorInclude"; nothing without CustomConfig.ini. */
COMMONTOOLS_EXPORT void setVendorFilterInclude(const QString& list);

/** Stores list as "VendorExclude"; nothing without CustomConfig.ini. */
COMMONTOOLS_EXPORT void setVendorFilterExclude(const QString& list);

/** Stores list as "ModelInclude"; nothing without CustomConfig.ini. */
COMMONTOOLS_EXPORT void setModelFilterInclude(const QString& list);

/** Stores list as "ModelExclude"; nothing without CustomConfig.ini. */
COMMONTOOLS_EXPORT void setModelFilterExclude(const QString& list);

/** @} */

/** @name Messages for result codes
 * Translation keys of the QObject context: installTranslation() chooses
 * their language. See also ::GenerateHraErrorDesc.
 * @{ */

/** The message for any result code: the device and service table first
 * (::GenerateHraErrorDesc), then the client's own 0x70000001..0x7000001F,
 * else "Operation failed.". */
COMMONTOOLS_EXPORT QString GenerateErrorDesc(int code);

/** "(Error Code : 0x9000610a)": the label shown beside a message, in
 * lower-case hexadecimal. */
COMMONTOOLS_EXPORT QString IntCode2DisplayCode(unsigned int code);

/** "0x" and the upper-case hexadecimal digits of high:low (high omitted
 * when 0), zero-padded to width digits; 0 with width 0 gives "0x". */
COMMONTOOLS_EXPORT QString toHexadecimalString(int low, int high, int width);

/** @} */

/** @name Text in code pages
 * Text between QString and byte buffers in a code page named as
 * QTextCodec names it ("GBK", "UTF-8"); a null or unknown name means UTF-8.
 * A cut never splits a character. See also ::interCutString and the other
 * functions that take a QTextCodec.
 * @{ */

/** ::interCutString with the codec named. */
COMMONTOOLS_EXPORT QString cutString(const QString& s, int n, const char* codecName);

/** ::interCutStringLocale: the cut measured in the locale's codec. */
COMMONTOOLS_EXPORT QString cutStringLocale(const QString& s, int n);

/** ::interChar2QString with the codec named. */
COMMONTOOLS_EXPORT QString char2QString(const char* p, int n, const char* codecName);

/** ::interChar2QString with the locale's codec. */
COMMONTOOLS_EXPORT QString char2QStringLocale(const char* p, int n);

/** char2QString() for unsigned bytes. */
COMMONTOOLS_EXPORT QString uchar2QString(const unsigned char* p, int n, const char* codecName);

/** char2QStringLocale() for unsigned bytes. */
COMMONTOOLS_EXPORT QString uchar2QStringLocale(const unsigned char* p, int n);

/** ::interString2Char with the codec named: pass one less than the buffer
 * size for a terminated string. */
COMMONTOOLS_EXPORT void string2Char(const QString& s, char* buf, int n, const char* codecName);

/** ::interString2Char with the locale's codec. */
COMMONTOOLS_EXPORT void string2CharLocale(const QString& s, char* buf, int n);

/** string2Char() for unsigned bytes. */
COMMONTOOLS_EXPORT void string2Uchar(const QString& s, unsigned char* buf, int n, const char* codecName);

/** string2CharLocale() for unsigned bytes. */
COMMONTOOLS_EXPORT void string2UcharLocale(const QString& s, unsigned char* buf, int n);

/** Sets the library-wide encoding switch of the three functions below:
 * UTF-8 for ENCODING_TYPE_UTF8 (0), the locale's codec for any other value
 * (the starting one). */
COMMONTOOLS_EXPORT void SetEncodingType(_ENCODING_TYPE_ type);

/** char2QString() or char2QStringLocale(), as the encoding switch says. */
COMMONTOOLS_EXPORT QString GetEncodeQStringFromChar(const char* p, int n);

/** uchar2QString() or uchar2QStringLocale(), as the encoding switch says. */
COMMONTOOLS_EXPORT QString GetEncodeQStringFromUnChar(const unsigned char* p, int n);

/** string2Char() or string2CharLocale(), as the encoding switch says. */
COMMONTOOLS_EXPORT void CovertEncodeCharFromQString(const QString& s, char* buf, int n);

/** @} */

/** @name Addresses, numbers and flags
 * @{ */

/** The dotted form of ip: a.b.c.d is (a << 24) + (b << 16) + (c << 8) + d. */
COMMONTOOLS_EXPORT QString numIP2StrIP(int ip);

/** The number of a dotted address; -1 unless there are four non-empty
 * parts. Parts are added, not masked, so 256 carries into the part before;
 * a part that is not a number counts 0. */
COMMONTOOLS_EXPORT int strIP2IntIP(const QString& ip);

/** "00:11:22:33:44:55" (upper-case) from the low 16 bits of high and the 32
 * of low. */
COMMONTOOLS_EXPORT QString int2StringMacAddress(unsigned int high, unsigned int low);

/** The same as int2StringMacAddress() from bits 47..0 of mac. */
COMMONTOOLS_EXPORT QString int64_2StringMacAddress(unsigned long long mac);

/** Six ":"-separated hexadecimal parts into high (the first two) and low
 * (the last four); both 0 when the text has not six non-empty parts. */
COMMONTOOLS_EXPORT void string2IntMacAddress(const QString& mac, unsigned int& high, unsigned int& low);

/** Whether ip is a usable host address: four decimal octets up to 255, the
 * first 1..223 and not 127, the last neither 0 nor 255. */
COMMONTOOLS_EXPORT bool CheckIpAble(QString ip);

/** Whether mask is a contiguous mask of 1 to 30 bits, written as four
 * decimal octets. */
COMMONTOOLS_EXPORT bool CheckSubnetMask(QString mask);

/** Hexadecimal when "0x" occurs in s, else decimal; 0 when not a number. */
COMMONTOOLS_EXPORT long long string2Int(const QString& s);

/** "0x" and lower-case digits (a negative value shows its 64-bit pattern). */
COMMONTOOLS_EXPORT QString Int2HexNumberQString(long long value);

/** Decimal when s reads as decimal, else hexadecimal ("ff" and "0xff" are
 * 255), else 0. */
COMMONTOOLS_EXPORT long long HexNumberQString2Int(const QString& s);

/** True when s holds only the digits 0 to 9 (also when it is empty). */
COMMONTOOLS_EXPORT bool CheckIsNumber(QString s);

/** Removes the characters % / : ? > \\ ' " * < | from s. */
COMMONTOOLS_EXPORT void RemoveIllegalChar(QString& s);

/** True when every bit of flag is set in flags; a zero flag matches only
 * zero flags. */
COMMONTOOLS_EXPORT bool testFlag(int flag, int flags);

/** testFlag() for unsigned values. */
COMMONTOOLS_EXPORT bool testFlag(unsigned int flag, unsigned int flags);

/** @} */

/** @name Shell commands and processes
 * The commands run through /bin/sh; each is logged at debug level
 * ("execCommand : <command>"). The commands that the library runs for its
 * own functions (processID(), killProcess(), the system information, the
 * language detection) keep their error output off the client's standard
 * error: what they print there is logged at debug level too.
 * @{ */

/** Runs command through /bin/sh, waits for it, and returns what it wrote to
 * its standard output, decoded as UTF-8; an empty string when it printed
 * nothing or could not be started. Output holding a NUL byte is not
 * returned whole. Its standard error is the client's. */
COMMONTOOLS_EXPORT QString execCommand(const QString& command);

/** The first id of the processes named name (as pidof finds them), or -1.
 * When ids is given, every id found is appended to it in the order
 * printed. */
COMMONTOOLS_EXPORT long long processID(const QString& name, QList<long long>* ids = nullptr);

/** Sends SIGKILL to pid; ids below 1 are ignored. */
COMMONTOOLS_EXPORT void killProcess(long long pid);

/** Sends SIGKILL to every process named name (as pidof finds them). */
COMMONTOOLS_EXPORT void killProcess(const QString& name);

/** @} */

/** @name System information
 * Most are read through shell commands, see execCommand().
 * @{ */

/** Codes of systemName(). */
enum SystemNameCode : int {
    SystemUnknown = 0,     ///< none of the others
    SystemRaspberryPi = 8, ///< "uname -a" names raspberrypi
    SystemOdroid = 9,      ///< "uname -a" names odroid
    SystemUbuntu = 10,     ///< "uname -a" names Ubuntu
    SystemCentOS = 11,     ///< operatingSys() names CentOS
    SystemRedHat = 12,     ///< operatingSys() names RedHat
};

/** The lines of /proc/cpuinfo that hold "name", each with its count (as
 * uniq -c gives them); empty where /proc/cpuinfo names no processor. */
COMMONTOOLS_EXPORT QString cpu();

/** The number of configured processors, as decimal text. */
COMMONTOOLS_EXPORT QString numOfCpu();

/** The MemTotal text of /proc/meminfo, for example "3884096 kB". */
COMMONTOOLS_EXPORT QString totalMmeory();

/** The MemAvailable text of /proc/meminfo, for example "3884096 kB";
 * without MemAvailable, MemFree + 0.8 * (Buffers + Cached) as
 * "<number> KB". */
COMMONTOOLS_EXPORT QString availbleMmeory();

/** value ("123456 kB", "2 GB"; a plain number counts bytes) in units of unit
 * ("KB" when empty): 1 for "B", 2^10 "KB", 2^20 "MB", 2^30 "GB",
 * case-insensitive. */
COMMONTOOLS_EXPORT qint64 parseMmeory(const QString& value, const QString& unit);

/** Always "Little Endian". */
COMMONTOOLS_EXPORT QString byteOrder();

/** The distribution's description from lsb_release, else the content of
 * /etc/redhat-release; prints "-------------" on standard output when
 * lsb_release gives one. */
COMMONTOOLS_EXPORT QString operatingSys();

/** A SystemNameCode, worked out once per process. */
COMMONTOOLS_EXPORT int systemName();

/** Always empty on this platform. */
COMMONTOOLS_EXPORT QString graphicsChips();

/** "1920*1080": the size of the primary screen. Needs a QGuiApplication or
 * QApplication (empty without). */
COMMONTOOLS_EXPORT QString resolution();

/** The client's "computer is asleep" flag (false at start); the library
 * never changes it. */
COMMONTOOLS_EXPORT bool isPCSleep();

/** Sets the flag that isPCSleep() returns. */
COMMONTOOLS_EXPORT void setIsPCSleep(bool asleep);

/** Always 2 on this platform. */
COMMONTOOLS_EXPORT int systemType();

/** @} */

/** @name File dialogs and storage checks
 * The dialogs open in the folder given, else in the folder of the last
 * choice (at first userDataPath()), and remember the folder chosen. Call
 * them on the GUI thread.
 * @{ */

/** Sets the folder in which the next file dialog opens when none is given;
 * an empty path goes back to userDataPath(). */
COMMONTOOLS_EXPORT void setFileDialogDefaultPath(const QString& path);

/** QFileDialog::getOpenFileName opened in dir (else the remembered
 * folder); the file chosen, or empty when the user cancels. Its folder is
 * remembered. */
COMMONTOOLS_EXPORT QString getOpenFileName(QWidget* parent = nullptr, const QString& caption = QString(),
                                           const QString& dir = QString(), const QString& filter = QString(),
                                           QString* selectedFilter = nullptr,
                                           QFileDialog::Options options = QFileDialog::Options());

/** QFileDialog::getSaveFileName opened on fileName in dir (else in the
 * remembered folder); the file chosen, or empty when the user cancels. A
 * file in the root folder is refused: the result is then empty and *ok
 * false (*ok is true otherwise, also when the user cancels). The folder of
 * the file is remembered. */
COMMONTOOLS_EXPORT QString getSaveFileName(QWidget* parent = nullptr, const QString& caption = QString(),
                                           const QString& dir = QString(), const QString& fileName = QString(),
                                           const QString& filter = QString(), bool* ok = nullptr,
                                           QString* selectedFilter = nullptr,
                                           QFileDialog::Options options = QFileDialog::Options());

/** QFileDialog::getExistingDirectory opened in dir (else the remembered
 * folder); the folder chosen, or empty when the user cancels. The root
 * folder is refused: the result is then empty and *ok false (*ok is true
 * otherwise, also when the user cancels). The folder is remembered. */
COMMONTOOLS_EXPORT QString getExistingDirectory(QWidget* parent = nullptr, const QString& caption = QString(),
                                                const QString& dir = QString(), bool* ok = nullptr,
                                                QFileDialog::Options options = QFileDialog::ShowDirsOnly);

/** False only for "/" exactly: the folder the dialogs refuse. */
COMMONTOOLS_EXPORT bool isSupportDir(const QString& path);

/** Whether the volume holding path (or the folder of path when it is not an
 * existing folder) has fewer than minBytes available; *valid tells whether
 * the volume could be measured (an unmeasured one counts as full for any
 * minBytes of 0 or more). */
COMMONTOOLS_EXPORT bool IsDiskFull(const QString& path, long long minBytes, bool* valid = nullptr);

/** Whether a file can be created in the folder path (isFile false) or in the
 * folder of the file path (isFile true), by creating and removing the probe
 * "Permission.Test" there. Note that an existing file of that name is
 * removed, and that a file path without any "/" is itself the probe: that
 * file is removed when it can be opened for writing. */
COMMONTOOLS_EXPORT bool testDirPermission(const QString& path, bool isFile);

/** @} */

} // namespace OrvInterface

/** @name Outside the namespace
 * Declared at global scope, as the client calls them.
 * @{ */

/** Path of the application's read-only INI file ("app.ini"): the path given
 * to OrvInterface::setAppIniFile, or the folder of the running executable
 * followed by "/readonlyCfg/app.ini". Whether the file exists is not
 * checked. */
COMMONTOOLS_EXPORT QString GetAppIniFile();

/** The message for a device, SDK, upgrade, login, project, module, image or
 * socket code (0x9000xxxx), translated with the QObject context; an empty
 * string when the code has none. */
COMMONTOOLS_EXPORT QString GenerateHraErrorDesc(int code);

/** The longest prefix of s whose encoding in codec (UTF-8 when null) fits
 * in n bytes, dropping whole characters (down to n / 3 of them); s whole
 * when none fits or n is negative. */
COMMONTOOLS_EXPORT QString interCutString(const QString& s, int n, QTextCodec* codec);

/** interCutString() measured with QString::toLocal8Bit(). */
COMMONTOOLS_EXPORT QString interCutStringLocale(const QString& s, int n);

/** Decodes p with codec (UTF-8 when null) up to its first NUL; with n > 0
 * at most n bytes are read, a terminator being supplied when they hold
 * none. */
COMMONTOOLS_EXPORT QString interChar2QString(const char* p, int n, QTextCodec* codec);

/** Zero-fills the first n bytes of buf (n >= 0), then copies the encoding
 * of interCutString(s, n, codec), without terminator. The copy is not
 * clamped to n: with UTF-8 and n >= 0 it always fits; a codec with
 * characters longer than three bytes, or a negative n, writes the whole
 * encoding. Pass one less than the buffer size for a terminated string. */
COMMONTOOLS_EXPORT void interString2Char(const QString& s, char* buf, int n, QTextCodec* codec);

/** @} */

#endif // ORVFUNCTION_H
