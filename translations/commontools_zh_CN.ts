<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_CN" sourcelanguage="en">
<context>
    <name>QObject</name>
    <message>
        <source>The camera handle is null or invalid</source>
        <translatorcomment>Glossary, one term each throughout: camera 相机; device 设备; handle 句柄; node 节点; stream 流 (stream media library 流媒体库); frame 帧; acquisition 采集; register 寄存器; firmware 固件; upgrade 升级; socket 套接字; buffer 缓冲区; driver 驱动; parameter 参数; project 方案; module 模块; image, picture 图像; base image, baseline image 基准图像; model (of a camera) 型号; model (to match) 模型; template 模板; feature 功能; feature points 特征点; property 属性; password 密码; log 日志; memory 内存; bandwidth 带宽; pixel format 像素格式; timeout 超时; fails, failed 失败; error 错误. Names kept as they are: GenICam, GigE Vision, USB3 Vision, USB (also for Usb), XML, IP, SDK, FPGA, SPI, ZIP, DAV, FTP, NTP, TL, ROI, PC, root, select, fps. A translation ends with a full stop (。) where the English ends with one, and only there; a space separates Chinese from Latin words and numbers.</translatorcomment>
        <translation>相机句柄为空或无效</translation>
    </message>
    <message>
        <source>Parameter error</source>
        <translation>参数错误</translation>
    </message>
    <message>
        <source>Malloc error</source>
        <translation>内存分配错误</translation>
    </message>
    <message>
        <source>Function call sequence is wrong</source>
        <translation>函数调用顺序错误</translation>
    </message>
    <message>
        <source>Unsupported feature</source>
        <translation>不支持的功能</translation>
    </message>
    <message>
        <source>No data</source>
        <translation>无数据</translation>
    </message>
    <message>
        <source>Failed to open file</source>
        <translation>打开文件失败</translation>
    </message>
    <message>
        <source>Buffer overflow</source>
        <translation>缓冲区溢出</translation>
    </message>
    <message>
        <source>The handle is null or invalid</source>
        <translation>句柄为空或无效</translation>
    </message>
    <message>
        <source>Buffer space is full</source>
        <translation>缓冲区已满</translation>
    </message>
    <message>
        <source>Function call sequence error</source>
        <translation>函数调用顺序错误</translation>
    </message>
    <message>
        <source>The precondition is wrong, or the operating environment has changed</source>
        <translation>前置条件有误，或运行环境已变化</translation>
    </message>
    <message>
        <source>SDK version does not match</source>
        <translation>SDK 版本不匹配</translation>
    </message>
    <message>
        <source>Input buffer size not enough</source>
        <translation>输入缓冲区大小不足</translation>
    </message>
    <message>
        <source>Abnormal image, may be incomplete image due to packet loss</source>
        <translation>图像异常，可能因丢包导致图像不完整</translation>
    </message>
    <message>
        <source>Load library error</source>
        <translation>加载库错误</translation>
    </message>
    <message>
        <source>Output buffer size not enough</source>
        <translation>输出缓冲区大小不足</translation>
    </message>
    <message>
        <source>File error</source>
        <translation>文件错误</translation>
    </message>
    <message>
        <source>Encryption error</source>
        <translation>加密错误</translation>
    </message>
    <message>
        <source>Unknow error</source>
        <translation>未知错误</translation>
    </message>
    <message>
        <source>Generic error</source>
        <translation>通用错误</translation>
    </message>
    <message>
        <source>Invalid parameter</source>
        <translation>无效参数</translation>
    </message>
    <message>
        <source>Value out of range</source>
        <translation>值超出范围</translation>
    </message>
    <message>
        <source>Property</source>
        <translation>属性错误</translation>
    </message>
    <message>
        <source>Runtime error</source>
        <translation>运行时错误</translation>
    </message>
    <message>
        <source>Logical error</source>
        <translation>逻辑错误</translation>
    </message>
    <message>
        <source>Node access conditions error</source>
        <translation>节点访问条件错误</translation>
    </message>
    <message>
        <source>Timeout</source>
        <translation>超时</translation>
    </message>
    <message>
        <source>Conversion error</source>
        <translation>转换错误</translation>
    </message>
    <message>
        <source>GenICam unknow error</source>
        <translation>GenICam 未知错误</translation>
    </message>
    <message>
        <source>Command is not supported by the device</source>
        <translation>设备不支持该命令</translation>
    </message>
    <message>
        <source>Target address of the visit does not exist</source>
        <translation>访问的目标地址不存在</translation>
    </message>
    <message>
        <source>Target addr write error</source>
        <translation>目标地址写入错误</translation>
    </message>
    <message>
        <source>No access</source>
        <translation>无访问权限</translation>
    </message>
    <message>
        <source>Device busy, or network is disconnected</source>
        <translation>设备忙，或网络已断开</translation>
    </message>
    <message>
        <source>Network packet data error</source>
        <translation>网络数据包错误</translation>
    </message>
    <message>
        <source>Network error</source>
        <translation>网络错误</translation>
    </message>
    <message>
        <source>IP conflict error</source>
        <translation>IP 冲突错误</translation>
    </message>
    <message>
        <source>Driver is not bound</source>
        <translation>驱动未绑定</translation>
    </message>
    <message>
        <source>Operate time out</source>
        <translation>操作超时</translation>
    </message>
    <message>
        <source>Usb read error</source>
        <translation>USB 读取错误</translation>
    </message>
    <message>
        <source>Usb write error</source>
        <translation>USB 写入错误</translation>
    </message>
    <message>
        <source>Equipment abnormal</source>
        <translation>设备异常</translation>
    </message>
    <message>
        <source>GenICam error</source>
        <translation>GenICam 错误</translation>
    </message>
    <message>
        <source>Insufficient bandwidth</source>
        <translation>带宽不足</translation>
    </message>
    <message>
        <source>Driver does not match or driver is not installed</source>
        <translation>驱动不匹配或未安装驱动</translation>
    </message>
    <message>
        <source>Usb error</source>
        <translation>USB 错误</translation>
    </message>
    <message>
        <source>Upgrade firmware does not match</source>
        <translation>升级固件不匹配</translation>
    </message>
    <message>
        <source>Upgrade firmware language does not match</source>
        <translation>升级固件语言不匹配</translation>
    </message>
    <message>
        <source>Already being upgraded</source>
        <translation>正在升级中</translation>
    </message>
    <message>
        <source>An error occurred inside the camera during the upgrade</source>
        <translation>升级过程中相机内部发生错误</translation>
    </message>
    <message>
        <source>Failed to get camera model.</source>
        <translation>获取相机型号失败。</translation>
    </message>
    <message>
        <source>Failed to copy FPGA file.</source>
        <translation>复制 FPGA 文件失败。</translation>
    </message>
    <message>
        <source>ZIP file decompression failed.</source>
        <translation>ZIP 文件解压失败。</translation>
    </message>
    <message>
        <source>DAV file decompression failed.</source>
        <translation>DAV 文件解压失败。</translation>
    </message>
    <message>
        <source>DAV file compression failed.</source>
        <translation>DAV 文件压缩失败。</translation>
    </message>
    <message>
        <source>ZIP file compression failed.</source>
        <translation>ZIP 文件压缩失败。</translation>
    </message>
    <message>
        <source>Getting upgrade progress timed out.</source>
        <translation>获取升级进度超时。</translation>
    </message>
    <message>
        <source>Failed to send progress query instruction.</source>
        <translation>发送进度查询指令失败。</translation>
    </message>
    <message>
        <source>Failed to receive progress query instruction.</source>
        <translation>接收进度查询指令失败。</translation>
    </message>
    <message>
        <source>Failed to get query progress.</source>
        <translation>获取查询进度失败。</translation>
    </message>
    <message>
        <source>Failed to get maximum progress.</source>
        <translation>获取最大进度失败。</translation>
    </message>
    <message>
        <source>File validation failed.</source>
        <translation>文件校验失败。</translation>
    </message>
    <message>
        <source>FPGA program upgrade failed.</source>
        <translation>FPGA 程序升级失败。</translation>
    </message>
    <message>
        <source>Watchdog upgrade failed.</source>
        <translation>看门狗升级失败。</translation>
    </message>
    <message>
        <source>Naked camera upgrade failed.</source>
        <translation>裸相机升级失败。</translation>
    </message>
    <message>
        <source>Failed to keep profile.</source>
        <translation>保留配置文件失败。</translation>
    </message>
    <message>
        <source>FPGA driver upgrade failed.</source>
        <translation>FPGA 驱动升级失败。</translation>
    </message>
    <message>
        <source>SPI driver upgrade failed.</source>
        <translation>SPI 驱动升级失败。</translation>
    </message>
    <message>
        <source>Restart failed.</source>
        <translation>重启失败。</translation>
    </message>
    <message>
        <source>Upgrade service upgrade failed.</source>
        <translation>升级服务升级失败。</translation>
    </message>
    <message>
        <source>Failed to stop related services.</source>
        <translation>停止相关服务失败。</translation>
    </message>
    <message>
        <source>Inconsistent device type.</source>
        <translation>设备类型不一致。</translation>
    </message>
    <message>
        <source>Failed to read encrypted information.</source>
        <translation>读取加密信息失败。</translation>
    </message>
    <message>
        <source>Device platform error.</source>
        <translation>设备平台错误。</translation>
    </message>
    <message>
        <source>Wrong camera model.</source>
        <translation>相机型号错误。</translation>
    </message>
    <message>
        <source>The camera is upgrading.</source>
        <translation>相机正在升级。</translation>
    </message>
    <message>
        <source>Upgrade package decompression failed.</source>
        <translation>升级包解压失败。</translation>
    </message>
    <message>
        <source>Upgrade unknow error</source>
        <translation>升级未知错误</translation>
    </message>
    <message>
        <source>Password Error</source>
        <translation>密码错误</translation>
    </message>
    <message>
        <source>Password empty</source>
        <translation>密码为空</translation>
    </message>
    <message>
        <source>Set password error</source>
        <translation>设置密码错误</translation>
    </message>
    <message>
        <source>Old password incorrect</source>
        <translation>旧密码不正确</translation>
    </message>
    <message>
        <source>Difference with confirm password</source>
        <translation>与确认密码不一致</translation>
    </message>
    <message>
        <source>Same as old password</source>
        <translation>与旧密码相同</translation>
    </message>
    <message>
        <source>Connection already exists</source>
        <translation>连接已存在</translation>
    </message>
    <message>
        <source>Login failed</source>
        <translation>登录失败</translation>
    </message>
    <message>
        <source>Logout failed</source>
        <translation>登出失败</translation>
    </message>
    <message>
        <source>Parameters error</source>
        <translation>参数错误</translation>
    </message>
    <message>
        <source>Verification error</source>
        <translation>校验错误</translation>
    </message>
    <message>
        <source>Out of memory</source>
        <translation>内存不足</translation>
    </message>
    <message>
        <source>Continuous operation error</source>
        <translation>连续操作错误</translation>
    </message>
    <message>
        <source>Run error</source>
        <translation>运行错误</translation>
    </message>
    <message>
        <source>File name check error</source>
        <translation>文件名检查错误</translation>
    </message>
    <message>
        <source>Load project failed</source>
        <translation>加载方案失败</translation>
    </message>
    <message>
        <source>Create project failed</source>
        <translation>创建方案失败</translation>
    </message>
    <message>
        <source>Stop project time out</source>
        <translation>停止方案超时</translation>
    </message>
    <message>
        <source>Stop project failed</source>
        <translation>停止方案失败</translation>
    </message>
    <message>
        <source>Upload project failed</source>
        <translation>上传方案失败</translation>
    </message>
    <message>
        <source>Download project failed</source>
        <translation>下载方案失败</translation>
    </message>
    <message>
        <source>Copying project failed</source>
        <translation>复制方案失败</translation>
    </message>
    <message>
        <source>Save project failed</source>
        <translation>保存方案失败</translation>
    </message>
    <message>
        <source>Remove project failed</source>
        <translation>移除方案失败</translation>
    </message>
    <message>
        <source>Change project parameters failed</source>
        <translation>修改方案参数失败</translation>
    </message>
    <message>
        <source>Edit project failed</source>
        <translation>编辑方案失败</translation>
    </message>
    <message>
        <source>Rename project failed</source>
        <translation>重命名方案失败</translation>
    </message>
    <message>
        <source>Project size over</source>
        <translation>方案大小超出上限</translation>
    </message>
    <message>
        <source>Project already exist</source>
        <translation>方案已存在</translation>
    </message>
    <message>
        <source>Project count over</source>
        <translation>方案数量超出上限</translation>
    </message>
    <message>
        <source>Change Project failed</source>
        <translation>切换方案失败</translation>
    </message>
    <message>
        <source>Delete project failed</source>
        <translation>删除方案失败</translation>
    </message>
    <message>
        <source>The total number of modules reaches the upper limit</source>
        <translation>模块总数已达上限</translation>
    </message>
    <message>
        <source>The number of modules reaches the upper limit</source>
        <translation>模块数量已达上限</translation>
    </message>
    <message>
        <source>Module not exist</source>
        <translation>模块不存在</translation>
    </message>
    <message>
        <source>Create module failed</source>
        <translation>创建模块失败</translation>
    </message>
    <message>
        <source>Delete module failed</source>
        <translation>删除模块失败</translation>
    </message>
    <message>
        <source>Verification of module capability set failed</source>
        <translation>模块能力集校验失败</translation>
    </message>
    <message>
        <source>Module parameter setting failed</source>
        <translation>模块参数设置失败</translation>
    </message>
    <message>
        <source>Failed to get module parameters</source>
        <translation>获取模块参数失败</translation>
    </message>
    <message>
        <source>Module copy failed</source>
        <translation>模块复制失败</translation>
    </message>
    <message>
        <source>Failed to set module ROI</source>
        <translation>设置模块 ROI 失败</translation>
    </message>
    <message>
        <source>Model/Template failed to set ROI</source>
        <translation>模型/模板设置 ROI 失败</translation>
    </message>
    <message>
        <source>Failed to upload module ROI</source>
        <translation>上传模块 ROI 失败</translation>
    </message>
    <message>
        <source>Wait Module time out</source>
        <translation>等待模块超时</translation>
    </message>
    <message>
        <source>The pixel format of base image is not correct</source>
        <translation>基准图像的像素格式不正确</translation>
    </message>
    <message>
        <source>Download baseline image failed</source>
        <translation>下载基准图像失败</translation>
    </message>
    <message>
        <source>Setting baseline image failed</source>
        <translation>设置基准图像失败</translation>
    </message>
    <message>
        <source>Get subscribe source failed</source>
        <translation>获取订阅源失败</translation>
    </message>
    <message>
        <source>Image source switch failed</source>
        <translation>图像源切换失败</translation>
    </message>
    <message>
        <source>Failed to get all stored images</source>
        <translation>获取全部存储图像失败</translation>
    </message>
    <message>
        <source>Store image query failed</source>
        <translation>存储图像查询失败</translation>
    </message>
    <message>
        <source>Delete image failed</source>
        <translation>删除图像失败</translation>
    </message>
    <message>
        <source>Delete all image failed</source>
        <translation>删除全部图像失败</translation>
    </message>
    <message>
        <source>Failed to get all camera logs</source>
        <translation>获取全部相机日志失败</translation>
    </message>
    <message>
        <source>Failed to query all camera logs</source>
        <translation>查询全部相机日志失败</translation>
    </message>
    <message>
        <source>Failed to delete all camera logs</source>
        <translation>删除全部相机日志失败</translation>
    </message>
    <message>
        <source>Failed to query test image</source>
        <translation>查询测试图像失败</translation>
    </message>
    <message>
        <source>Name conflict error</source>
        <translation>名称冲突错误</translation>
    </message>
    <message>
        <source>Baseline image does not exist</source>
        <translation>基准图像不存在</translation>
    </message>
    <message>
        <source>Connect FTP Failed</source>
        <translation>连接 FTP 失败</translation>
    </message>
    <message>
        <source>Feature points is not enough</source>
        <translation>特征点不足</translation>
    </message>
    <message>
        <source>Check model failed</source>
        <translation>模型检查失败</translation>
    </message>
    <message>
        <source>Failed to upload test image</source>
        <translation>上传测试图像失败</translation>
    </message>
    <message>
        <source>Failed to set NTP time</source>
        <translation>设置 NTP 时间失败</translation>
    </message>
    <message>
        <source>Failed to restore factory set</source>
        <translation>恢复出厂设置失败</translation>
    </message>
    <message>
        <source>Failed to import the global configuration file</source>
        <translation>导入全局配置文件失败</translation>
    </message>
    <message>
        <source>Error creating socket.</source>
        <translation>创建套接字出错。</translation>
    </message>
    <message>
        <source>Binding error.</source>
        <translation>绑定错误。</translation>
    </message>
    <message>
        <source>Connection error.</source>
        <translation>连接错误。</translation>
    </message>
    <message>
        <source>Error getting host name.</source>
        <translation>获取主机名出错。</translation>
    </message>
    <message>
        <source>Error writing data.</source>
        <translation>写入数据出错。</translation>
    </message>
    <message>
        <source>Error reading data.</source>
        <translation>读取数据出错。</translation>
    </message>
    <message>
        <source>Select error.</source>
        <translation>select 错误。</translation>
    </message>
    <message>
        <source>Timeout.</source>
        <translation>超时。</translation>
    </message>
    <message>
        <source>Receive error.</source>
        <translation>接收错误。</translation>
    </message>
    <message>
        <source>Network unknown error.</source>
        <translation>网络未知错误。</translation>
    </message>
    <message>
        <source>Operation failed.</source>
        <translation>操作失败。</translation>
    </message>
    <message>
        <source>Failed to request memory.</source>
        <translation>申请内存失败。</translation>
    </message>
    <message>
        <source>Failed to start thread.</source>
        <translation>启动线程失败。</translation>
    </message>
    <message>
        <source>Null pointer returned.</source>
        <translation>返回了空指针。</translation>
    </message>
    <message>
        <source>Failed to create the device handle.</source>
        <translation>创建设备句柄失败。</translation>
    </message>
    <message>
        <source>Failed to connect the camera.</source>
        <translation>连接相机失败。</translation>
    </message>
    <message>
        <source>Failed to get the XML file.</source>
        <translation>获取 XML 文件失败。</translation>
    </message>
    <message>
        <source>Failed to get the frame data.</source>
        <translation>获取帧数据失败。</translation>
    </message>
    <message>
        <source>Failed to start acquisition.</source>
        <translation>开始采集失败。</translation>
    </message>
    <message>
        <source>Failed to stop acquisition.</source>
        <translation>停止采集失败。</translation>
    </message>
    <message>
        <source>Failed to get TL proxy.</source>
        <translation>获取 TL 代理失败。</translation>
    </message>
    <message>
        <source>Failed to generate node mapping.</source>
        <translation>生成节点映射失败。</translation>
    </message>
    <message>
        <source>Failed to display the image in the specified region of the selected window.</source>
        <translation>在所选窗口的指定区域显示图像失败。</translation>
    </message>
    <message>
        <source>Failed to get the color.</source>
        <translation>获取颜色失败。</translation>
    </message>
    <message>
        <source>Failed to get the device information.</source>
        <translation>获取设备信息失败。</translation>
    </message>
    <message>
        <source>Failed to open XML file.</source>
        <translation>打开 XML 文件失败。</translation>
    </message>
    <message>
        <source>The acquisition is disabled.</source>
        <translation>采集已禁用。</translation>
    </message>
    <message>
        <source>The pixel format is not supported.</source>
        <translation>不支持该像素格式。</translation>
    </message>
    <message>
        <source>Failed to save picture.</source>
        <translation>保存图像失败。</translation>
    </message>
    <message>
        <source>Failed to create the handle of the stream media library.</source>
        <translation>创建流媒体库句柄失败。</translation>
    </message>
    <message>
        <source>The device is unreachable. Modify its IP address with IP configurator.</source>
        <translation>设备不可达。请使用 IP 配置工具修改其 IP 地址。</translation>
    </message>
    <message>
        <source>Please ensure that the device is connected to a proper USB 3.0 port.</source>
        <translation>请确保设备连接到合适的 USB 3.0 端口。</translation>
    </message>
    <message>
        <source>No frame data.</source>
        <translation>无帧数据。</translation>
    </message>
    <message>
        <source>File operation failed, possible storage disk is full.</source>
        <translation>文件操作失败，存储磁盘可能已满。</translation>
    </message>
    <message>
        <source>Recording is not supported. The current frame rate is 0 fps.</source>
        <translation>不支持录制。当前帧率为 0 fps。</translation>
    </message>
    <message>
        <source>Failed to create the nodes of buffer.</source>
        <translation>创建缓冲区节点失败。</translation>
    </message>
    <message>
        <source>Failed to remove file.</source>
        <translation>删除文件失败。</translation>
    </message>
    <message>
        <source>The current PC system user has no permission to write to files in the directory. Get the permission or visit client as the root user.</source>
        <translation>当前 PC 系统用户无权写入该目录中的文件。请获取权限，或以 root 用户身份访问客户端。</translation>
    </message>
    <message>
        <source>The file path is too long.</source>
        <translation>文件路径过长。</translation>
    </message>
    <message>
        <source>Error Code : 0x</source>
        <translation>错误码 : 0x</translation>
    </message>
</context>
</TS>
