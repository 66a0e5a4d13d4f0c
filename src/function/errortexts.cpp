// Messages for result codes, and the display forms of codes and numbers.
//
// The messages are translation keys: each table row is marked for lupdate
// with the QObject context, and translated with QObject::tr when looked up.

#include "OrvFunction.h"

#include <QObject>

#include <algorithm>

namespace {

struct ErrorText
{
    unsigned int code;
    const char* text;
};

// Device, SDK, upgrade, login, project, module, image and socket codes,
// sorted by code. Some texts recur under several codes, and their spelling
// and punctuation are the keys of existing translations: keep them.
const ErrorText kDeviceErrors[] = {
    {0x90006000u, QT_TRANSLATE_NOOP("QObject", "The camera handle is null or invalid")},
    {0x90006001u, QT_TRANSLATE_NOOP("QObject", "Parameter error")},
    {0x90006002u, QT_TRANSLATE_NOOP("QObject", "Malloc error")},
    {0x90006003u, QT_TRANSLATE_NOOP("QObject", "Function call sequence is wrong")},
    {0x90006004u, QT_TRANSLATE_NOOP("QObject", "Unsupported feature")},
    {0x90006005u, QT_TRANSLATE_NOOP("QObject", "No data")},
    {0x90006006u, QT_TRANSLATE_NOOP("QObject", "Failed to open file")},
    {0x90006007u, QT_TRANSLATE_NOOP("QObject", "Buffer overflow")},
    {0x90006100u, QT_TRANSLATE_NOOP("QObject", "The handle is null or invalid")},
    {0x90006101u, QT_TRANSLATE_NOOP("QObject", "Unsupported feature")},
    {0x90006102u, QT_TRANSLATE_NOOP("QObject", "Buffer space is full")},
    {0x90006103u, QT_TRANSLATE_NOOP("QObject", "Function call sequence error")},
    {0x90006104u, QT_TRANSLATE_NOOP("QObject", "Parameter error")},
    {0x90006105u, QT_TRANSLATE_NOOP("QObject", "Malloc error")},
    {0x90006106u, QT_TRANSLATE_NOOP("QObject", "No data")},
    {0x90006107u, QT_TRANSLATE_NOOP("QObject", "The precondition is wrong, or the operating environment has changed")},
    {0x90006108u, QT_TRANSLATE_NOOP("QObject", "SDK version does not match")},
    {0x90006109u, QT_TRANSLATE_NOOP("QObject", "Input buffer size not enough")},
    {0x9000610Au, QT_TRANSLATE_NOOP("QObject", "Abnormal image, may be incomplete image due to packet loss")},
    {0x9000610Bu, QT_TRANSLATE_NOOP("QObject", "Load library error")},
    {0x9000610Cu, QT_TRANSLATE_NOOP("QObject", "Output buffer size not enough")},
    {0x9000610Du, QT_TRANSLATE_NOOP("QObject", "File error")},
    {0x9000610Eu, QT_TRANSLATE_NOOP("QObject", "Encryption error")},
    {0x900061FFu, QT_TRANSLATE_NOOP("QObject", "Unknow error")},
    {0x90006200u, QT_TRANSLATE_NOOP("QObject", "Generic error")},
    {0x90006201u, QT_TRANSLATE_NOOP("QObject", "Invalid parameter")},
    {0x90006202u, QT_TRANSLATE_NOOP("QObject", "Value out of range")},
    {0x90006203u, QT_TRANSLATE_NOOP("QObject", "Property")},
    {0x90006204u, QT_TRANSLATE_NOOP("QObject", "Runtime error")},
    {0x90006205u, QT_TRANSLATE_NOOP("QObject", "Logical error")},
    {0x90006206u, QT_TRANSLATE_NOOP("QObject", "Node access conditions error")},
    {0x90006207u, QT_TRANSLATE_NOOP("QObject", "Timeout")},
    {0x90006208u, QT_TRANSLATE_NOOP("QObject", "Conversion error")},
    {0x900062FFu, QT_TRANSLATE_NOOP("QObject", "GenICam unknow error")},
    {0x90006300u, QT_TRANSLATE_NOOP("QObject", "Command is not supported by the device")},
    {0x90006301u, QT_TRANSLATE_NOOP("QObject", "Target address of the visit does not exist")},
    {0x90006302u, QT_TRANSLATE_NOOP("QObject", "Target addr write error")},
    {0x90006303u, QT_TRANSLATE_NOOP("QObject", "No access")},
    {0x90006304u, QT_TRANSLATE_NOOP("QObject", "Device busy, or network is disconnected")},
    {0x90006305u, QT_TRANSLATE_NOOP("QObject", "Network packet data error")},
    {0x90006306u, QT_TRANSLATE_NOOP("QObject", "Network error")},
    {0x90006307u, QT_TRANSLATE_NOOP("QObject", "IP conflict error")},
    {0x90006308u, QT_TRANSLATE_NOOP("QObject", "Driver is not bound")},
    {0x90006309u, QT_TRANSLATE_NOOP("QObject", "Operate time out")},
    {0x90006400u, QT_TRANSLATE_NOOP("QObject", "Usb read error")},
    {0x90006401u, QT_TRANSLATE_NOOP("QObject", "Usb write error")},
    {0x90006402u, QT_TRANSLATE_NOOP("QObject", "Equipment abnormal")},
    {0x90006403u, QT_TRANSLATE_NOOP("QObject", "GenICam error")},
    {0x90006404u, QT_TRANSLATE_NOOP("QObject", "Insufficient bandwidth")},
    {0x90006405u, QT_TRANSLATE_NOOP("QObject", "Driver does not match or driver is not installed")},
    {0x900064FFu, QT_TRANSLATE_NOOP("QObject", "Usb error")},
    {0x90006500u, QT_TRANSLATE_NOOP("QObject", "Upgrade firmware does not match")},
    {0x90006501u, QT_TRANSLATE_NOOP("QObject", "Upgrade firmware language does not match")},
    {0x90006502u, QT_TRANSLATE_NOOP("QObject", "Already being upgraded")},
    {0x90006503u, QT_TRANSLATE_NOOP("QObject", "An error occurred inside the camera during the upgrade")},
    {0x90006504u, QT_TRANSLATE_NOOP("QObject", "Failed to get camera model.")},
    {0x90006505u, QT_TRANSLATE_NOOP("QObject", "Failed to copy FPGA file.")},
    {0x90006506u, QT_TRANSLATE_NOOP("QObject", "ZIP file decompression failed.")},
    {0x90006507u, QT_TRANSLATE_NOOP("QObject", "DAV file decompression failed.")},
    {0x90006508u, QT_TRANSLATE_NOOP("QObject", "DAV file compression failed.")},
    {0x90006509u, QT_TRANSLATE_NOOP("QObject", "ZIP file compression failed.")},
    {0x9000650Au, QT_TRANSLATE_NOOP("QObject", "Getting upgrade progress timed out.")},
    {0x9000650Bu, QT_TRANSLATE_NOOP("QObject", "Failed to send progress query instruction.")},
    {0x9000650Cu, QT_TRANSLATE_NOOP("QObject", "Failed to receive progress query instruction.")},
    {0x9000650Du, QT_TRANSLATE_NOOP("QObject", "Failed to get query progress.")},
    {0x9000650Eu, QT_TRANSLATE_NOOP("QObject", "Failed to get maximum progress.")},
    {0x9000650Fu, QT_TRANSLATE_NOOP("QObject", "File validation failed.")},
    {0x90006510u, QT_TRANSLATE_NOOP("QObject", "FPGA program upgrade failed.")},
    {0x90006511u, QT_TRANSLATE_NOOP("QObject", "Watchdog upgrade failed.")},
    {0x90006512u, QT_TRANSLATE_NOOP("QObject", "Naked camera upgrade failed.")},
    {0x90006513u, QT_TRANSLATE_NOOP("QObject", "Failed to keep profile.")},
    {0x90006514u, QT_TRANSLATE_NOOP("QObject", "FPGA driver upgrade failed.")},
    {0x90006515u, QT_TRANSLATE_NOOP("QObject", "SPI driver upgrade failed.")},
    {0x90006516u, QT_TRANSLATE_NOOP("QObject", "Restart failed.")},
    {0x90006517u, QT_TRANSLATE_NOOP("QObject", "Upgrade service upgrade failed.")},
    {0x90006518u, QT_TRANSLATE_NOOP("QObject", "Failed to stop related services.")},
    {0x90006519u, QT_TRANSLATE_NOOP("QObject", "Inconsistent device type.")},
    {0x9000651Au, QT_TRANSLATE_NOOP("QObject", "Failed to read encrypted information.")},
    {0x9000651Bu, QT_TRANSLATE_NOOP("QObject", "Device platform error.")},
    {0x9000651Cu, QT_TRANSLATE_NOOP("QObject", "Wrong camera model.")},
    {0x9000651Du, QT_TRANSLATE_NOOP("QObject", "The camera is upgrading.")},
    {0x9000651Eu, QT_TRANSLATE_NOOP("QObject", "Upgrade package decompression failed.")},
    {0x900065FFu, QT_TRANSLATE_NOOP("QObject", "Upgrade unknow error")},
    {0x90006600u, QT_TRANSLATE_NOOP("QObject", "Password Error")},
    {0x90006601u, QT_TRANSLATE_NOOP("QObject", "Password empty")},
    {0x90006602u, QT_TRANSLATE_NOOP("QObject", "Set password error")},
    {0x90006603u, QT_TRANSLATE_NOOP("QObject", "Old password incorrect")},
    {0x90006604u, QT_TRANSLATE_NOOP("QObject", "Difference with confirm password")},
    {0x90006605u, QT_TRANSLATE_NOOP("QObject", "Same as old password")},
    {0x90006606u, QT_TRANSLATE_NOOP("QObject", "Connection already exists")},
    {0x90006607u, QT_TRANSLATE_NOOP("QObject", "Login failed")},
    {0x90006608u, QT_TRANSLATE_NOOP("QObject", "Logout failed")},
    {0x90006609u, QT_TRANSLATE_NOOP("QObject", "Parameters error")},
    {0x9000660Au, QT_TRANSLATE_NOOP("QObject", "Verification error")},
    {0x9000660Bu, QT_TRANSLATE_NOOP("QObject", "Out of memory")},
    {0x9000660Cu, QT_TRANSLATE_NOOP("QObject", "Continuous operation error")},
    {0x9000660Du, QT_TRANSLATE_NOOP("QObject", "Run error")},
    {0x9000660Eu, QT_TRANSLATE_NOOP("QObject", "File name check error")},
    {0x90006700u, QT_TRANSLATE_NOOP("QObject", "Load project failed")},
    {0x90006701u, QT_TRANSLATE_NOOP("QObject", "Create project failed")},
    {0x90006702u, QT_TRANSLATE_NOOP("QObject", "Stop project time out")},
    {0x90006703u, QT_TRANSLATE_NOOP("QObject", "Stop project failed")},
    {0x90006704u, QT_TRANSLATE_NOOP("QObject", "Upload project failed")},
    {0x90006705u, QT_TRANSLATE_NOOP("QObject", "Download project failed")},
    {0x90006706u, QT_TRANSLATE_NOOP("QObject", "Copying project failed")},
    {0x90006707u, QT_TRANSLATE_NOOP("QObject", "Save project failed")},
    {0x90006708u, QT_TRANSLATE_NOOP("QObject", "Remove project failed")},
    {0x90006709u, QT_TRANSLATE_NOOP("QObject", "Change project parameters failed")},
    {0x9000670Au, QT_TRANSLATE_NOOP("QObject", "Edit project failed")},
    {0x9000670Bu, QT_TRANSLATE_NOOP("QObject", "Rename project failed")},
    {0x9000670Cu, QT_TRANSLATE_NOOP("QObject", "Project size over")},
    {0x9000670Du, QT_TRANSLATE_NOOP("QObject", "Project already exist")},
    {0x9000670Eu, QT_TRANSLATE_NOOP("QObject", "Project count over")},
    {0x9000670Fu, QT_TRANSLATE_NOOP("QObject", "Change Project failed")},
    {0x90006710u, QT_TRANSLATE_NOOP("QObject", "Delete project failed")},
    {0x90006800u, QT_TRANSLATE_NOOP("QObject", "The total number of modules reaches the upper limit")},
    {0x90006801u, QT_TRANSLATE_NOOP("QObject", "The number of modules reaches the upper limit")},
    {0x90006802u, QT_TRANSLATE_NOOP("QObject", "Module not exist")},
    {0x90006803u, QT_TRANSLATE_NOOP("QObject", "Create module failed")},
    {0x90006804u, QT_TRANSLATE_NOOP("QObject", "Delete module failed")},
    {0x90006805u, QT_TRANSLATE_NOOP("QObject", "Verification of module capability set failed")},
    {0x90006806u, QT_TRANSLATE_NOOP("QObject", "Module parameter setting failed")},
    {0x90006807u, QT_TRANSLATE_NOOP("QObject", "Failed to get module parameters")},
    {0x90006808u, QT_TRANSLATE_NOOP("QObject", "Module copy failed")},
    {0x90006809u, QT_TRANSLATE_NOOP("QObject", "Failed to set module ROI")},
    {0x9000680Au, QT_TRANSLATE_NOOP("QObject", "Model/Template failed to set ROI")},
    {0x9000680Bu, QT_TRANSLATE_NOOP("QObject", "Failed to upload module ROI")},
    {0x9000680Cu, QT_TRANSLATE_NOOP("QObject", "Wait Module time out")},
    {0x9000680Du, QT_TRANSLATE_NOOP("QObject", "The pixel format of base image is not correct")},
    {0x90006900u, QT_TRANSLATE_NOOP("QObject", "Download baseline image failed")},
    {0x90006901u, QT_TRANSLATE_NOOP("QObject", "Setting baseline image failed")},
    {0x90006902u, QT_TRANSLATE_NOOP("QObject", "Get subscribe source failed")},
    {0x90006903u, QT_TRANSLATE_NOOP("QObject", "Image source switch failed")},
    {0x90006904u, QT_TRANSLATE_NOOP("QObject", "Failed to get all stored images")},
    {0x90006905u, QT_TRANSLATE_NOOP("QObject", "Store image query failed")},
    {0x90006906u, QT_TRANSLATE_NOOP("QObject", "Delete image failed")},
    {0x90006907u, QT_TRANSLATE_NOOP("QObject", "Delete all image failed")},
    {0x90006908u, QT_TRANSLATE_NOOP("QObject", "Failed to get all camera logs")},
    {0x90006909u, QT_TRANSLATE_NOOP("QObject", "Failed to query all camera logs")},
    {0x9000690Au, QT_TRANSLATE_NOOP("QObject", "Failed to delete all camera logs")},
    {0x9000690Bu, QT_TRANSLATE_NOOP("QObject", "Failed to query test image")},
    {0x9000690Cu, QT_TRANSLATE_NOOP("QObject", "Name conflict error")},
    {0x9000690Du, QT_TRANSLATE_NOOP("QObject", "Baseline image does not exist")},
    {0x9000690Eu, QT_TRANSLATE_NOOP("QObject", "Connect FTP Failed")},
    {0x9000690Fu, QT_TRANSLATE_NOOP("QObject", "Feature points is not enough")},
    {0x90006910u, QT_TRANSLATE_NOOP("QObject", "Check model failed")},
    {0x90006911u, QT_TRANSLATE_NOOP("QObject", "Failed to upload test image")},
    {0x90006912u, QT_TRANSLATE_NOOP("QObject", "Failed to set NTP time")},
    {0x90006913u, QT_TRANSLATE_NOOP("QObject", "Failed to restore factory set")},
    {0x90006914u, QT_TRANSLATE_NOOP("QObject", "Failed to import the global configuration file")},
    {0x90006A00u, QT_TRANSLATE_NOOP("QObject", "Error creating socket.")},
    {0x90006A01u, QT_TRANSLATE_NOOP("QObject", "Binding error.")},
    {0x90006A02u, QT_TRANSLATE_NOOP("QObject", "Connection error.")},
    {0x90006A03u, QT_TRANSLATE_NOOP("QObject", "Error getting host name.")},
    {0x90006A04u, QT_TRANSLATE_NOOP("QObject", "Error writing data.")},
    {0x90006A05u, QT_TRANSLATE_NOOP("QObject", "Error reading data.")},
    {0x90006A06u, QT_TRANSLATE_NOOP("QObject", "Select error.")},
    {0x90006A07u, QT_TRANSLATE_NOOP("QObject", "Timeout.")},
    {0x90006A08u, QT_TRANSLATE_NOOP("QObject", "Receive error.")},
    {0x90006AFFu, QT_TRANSLATE_NOOP("QObject", "Network unknown error.")},
};

// The client's own failures, sorted by code. 0x70000012 and 0x70000014
// share a text and 0x7000001C has none, on purpose.
const ErrorText kClientErrors[] = {
    {0x70000001u, QT_TRANSLATE_NOOP("QObject", "Operation failed.")},
    {0x70000002u, QT_TRANSLATE_NOOP("QObject", "Failed to request memory.")},
    {0x70000003u, QT_TRANSLATE_NOOP("QObject", "Failed to start thread.")},
    {0x70000004u, QT_TRANSLATE_NOOP("QObject", "Null pointer returned.")},
    {0x70000005u, QT_TRANSLATE_NOOP("QObject", "Failed to create the device handle.")},
    {0x70000006u, QT_TRANSLATE_NOOP("QObject", "Failed to connect the camera.")},
    {0x70000007u, QT_TRANSLATE_NOOP("QObject", "Failed to get the XML file.")},
    {0x70000008u, QT_TRANSLATE_NOOP("QObject", "Failed to get the frame data.")},
    {0x70000009u, QT_TRANSLATE_NOOP("QObject", "Failed to start acquisition.")},
    {0x7000000Au, QT_TRANSLATE_NOOP("QObject", "Failed to stop acquisition.")},
    {0x7000000Bu, QT_TRANSLATE_NOOP("QObject", "Failed to get TL proxy.")},
    {0x7000000Cu, QT_TRANSLATE_NOOP("QObject", "Failed to generate node mapping.")},
    {0x7000000Du, QT_TRANSLATE_NOOP("QObject", "Failed to display the image in the specified region of the selected window.")},
    {0x7000000Eu, QT_TRANSLATE_NOOP("QObject", "Failed to get the color.")},
    {0x7000000Fu, QT_TRANSLATE_NOOP("QObject", "Failed to get the device information.")},
    {0x70000010u, QT_TRANSLATE_NOOP("QObject", "Failed to open XML file.")},
    {0x70000011u, QT_TRANSLATE_NOOP("QObject", "The acquisition is disabled.")},
    {0x70000012u, QT_TRANSLATE_NOOP("QObject", "The pixel format is not supported.")},
    {0x70000013u, QT_TRANSLATE_NOOP("QObject", "Failed to save picture.")},
    {0x70000014u, QT_TRANSLATE_NOOP("QObject", "The pixel format is not supported.")},
    {0x70000015u, QT_TRANSLATE_NOOP("QObject", "Failed to create the handle of the stream media library.")},
    {0x70000016u, QT_TRANSLATE_NOOP("QObject", "The device is unreachable. Modify its IP address with IP configurator.")},
    {0x70000017u, QT_TRANSLATE_NOOP("QObject", "Please ensure that the device is connected to a proper USB 3.0 port.")},
    {0x70000018u, QT_TRANSLATE_NOOP("QObject", "No frame data.")},
    {0x70000019u, QT_TRANSLATE_NOOP("QObject", "File operation failed, possible storage disk is full.")},
    {0x7000001Au, QT_TRANSLATE_NOOP("QObject", "Recording is not supported. The current frame rate is 0 fps.")},
    {0x7000001Bu, QT_TRANSLATE_NOOP("QObject", "Failed to create the nodes of buffer.")},
    {0x7000001Du, QT_TRANSLATE_NOOP("QObject", "Failed to remove file.")},
    {0x7000001Eu, QT_TRANSLATE_NOOP("QObject", "The current PC system user has no permission to write to files in the directory. Get the permission or visit client as the root user.")},
    {0x7000001Fu, QT_TRANSLATE_NOOP("QObject", "The file path is too long.")},
};

const char kOperationFailed[] = QT_TRANSLATE_NOOP("QObject", "Operation failed.");
const char kErrorCodePrefix[] = QT_TRANSLATE_NOOP("QObject", "Error Code : 0x");

template <size_t N>
const char* findText(const ErrorText (&table)[N], unsigned int code)
{
    const ErrorText* end = table + N;
    const ErrorText* row =
            std::lower_bound(table, end, code, [](const ErrorText& e, unsigned int c) { return e.code < c; });
    return row != end && row->code == code ? row->text : nullptr;
}

// Digits of the 32-bit pattern of value, lower case, no leading zeros.
QString hexDigits(int value)
{
    return QString::number(static_cast<unsigned int>(value), 16);
}

} // namespace

QString GenerateHraErrorDesc(int code)
{
    const char* text = findText(kDeviceErrors, static_cast<unsigned int>(code));
    return text ? QObject::tr(text) : QString(QLatin1String(""));
}

namespace OrvInterface {

QString GenerateErrorDesc(int code)
{
    const QString device = GenerateHraErrorDesc(code);
    if (!device.isEmpty())
        return device;
    // The client table covers 0x70000001 to 0x7000001F.
    if (static_cast<unsigned int>(code) - 0x70000001u <= 30u) {
        if (const char* text = findText(kClientErrors, static_cast<unsigned int>(code)))
            return QObject::tr(text);
    }
    return QObject::tr(kOperationFailed);
}

QString IntCode2DisplayCode(unsigned int code)
{
    return QLatin1Char('(') + QObject::tr(kErrorCodePrefix) + QString::number(code, 16) + QLatin1Char(')');
}

QString toHexadecimalString(int low, int high, int width)
{
    QString digits = hexDigits(low);
    if (high != 0)
        digits = hexDigits(high) + digits.rightJustified(8, QLatin1Char('0'));

    if (width > digits.size()) {
        digits = digits.rightJustified(width, QLatin1Char('0'));
    } else if (width < digits.size()) {
        // Only 0 with a width of 0 has leading zeros here: it becomes "0x".
        int zeros = 0;
        while (zeros < digits.size() && digits.at(zeros) == QLatin1Char('0'))
            ++zeros;
        digits.remove(0, zeros);
    }
    return QStringLiteral("0x") + digits.toUpper();
}

} // namespace OrvInterface
