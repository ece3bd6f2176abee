#include "Chinese.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace player {
namespace {

constexpr std::pair<std::string_view, const char*> kTexts[] = {
    // The window.
    {"Downloads", "下载"},
    {"&Add…", "添加(&A)…"},
    {"&Play", "播放(&P)"},
    {"&Resume", "继续(&R)"},
    {"Pau&se", "暂停(&S)"},
    {"Re&move", "移除(&M)"},
    {"Resume a&ll", "全部继续(&L)"},
    {"Pa&use all", "全部暂停(&U)"},
    {"How many downloads run at once", "同时进行的下载数"},
    {"At &once:", "同时(&O)："},
    {"<b>Nothing to watch offline yet</b>", "<b>还没有离线视频</b>"},
    {"Add a &download…", "添加下载(&D)…"},
    {"These values name no video.", "这些值不对应任何视频。"},
    {"The download could not be stored. Is the disk full?", "无法保存该下载。磁盘满了吗？"},
    {"This video is in the list already.", "该视频已在列表中。"},
    {"No program plays “%1”", "没有程序能播放“%1”"},
    {"Remove", "移除"},
    {"&Remove", "移除(&R)"},
    {"Cancel", "取消"},
    {"&Cancel", "取消(&C)"},
    {"Remove “%1” and its files?", "移除“%1”及其文件吗？"},
    {"Remove %1 downloads and their files?", "移除 %1 个下载及其文件吗？"},
    {"%1 of %2 finished", "已完成 %1/%2"},
    {"%1 running", "%1 个进行中"},

    // The form.
    {"Add a download", "添加下载"},
    {"&Download", "下载(&D)"},
    {"&Kind", "类型(&K)"},
    {"optional", "可选"},
    {"HLS video", "HLS 视频"},
    {"MP4 of the second site", "第二站点的 MP4"},
    {"Shared on the local network", "局域网共享"},
    {"&Video id", "视频 ID(&V)"},
    {"&Site", "站点(&S)"},
    {"Ve&rsion", "版本(&R)"},
    {"A&lbum id", "专辑 ID(&L)"},
    {"&Cover address", "封面地址(&C)"},
    {"&Device address", "设备地址(&D)"},
    {"&File name", "文件名(&F)"},
    {"Album &name", "专辑名(&N)"},
    {"D&evice name", "设备名(&E)"},
    {"Local network &only", "仅限局域网(&O)"},

    // A row.
    {"%1 of %2", "%1/%2"},
    {"%1 left", "剩余 %1"},
    {"Video %1", "视频 %1"},
    {"Paused", "已暂停"},
    {"Waiting", "等待中"},
    {"Downloading", "下载中"},
    {"Nothing arrives", "没有数据"},
    {"Failed", "失败"},
    {"Finished", "已完成"},

    // Why it failed.
    {"The disk is full", "磁盘已满"},
    {"A file cannot be written or read", "文件无法读写"},
    {"The disk did not keep the video", "磁盘未能保存视频"},
    {"Another download writes this file", "另一个下载正在写入该文件"},
    {"The system has too many programs running", "系统运行的程序过多"},
    {"The system is out of memory", "系统内存不足"},
    {"Cancelled", "已取消"},
    {"The address is not valid", "地址无效"},
    {"The address is neither http nor https", "地址既不是 http 也不是 https"},
    {"The server took too long", "服务器响应超时"},
    {"The server cannot be reached", "无法连接到服务器"},
    {"There is no network", "没有网络"},
    {"The connection was lost", "网络连接中断"},
    {"The server sends from address to address", "服务器重定向次数过多"},
    {"The connection is not secure", "连接不安全"},
    {"The server refuses it (%1)", "服务器拒绝了请求（%1）"},
    {"The service refuses it", "服务拒绝了请求"},
    {"The server's answer makes no sense", "服务器的回复无法识别"},
    {"The server's answer is too large", "服务器的回复过大"},
    {"There is no such version of the video", "视频没有这个版本"},
    {"A part of the video has no address", "视频的一部分没有地址"},
    {"The playlist cannot be decrypted", "播放列表无法解密"},
    {"A part of the video is damaged", "视频的一部分已损坏"},
    {"The site tells no address", "站点没有给出地址"},
    {"The device tells no address", "设备没有给出地址"},
    {"The name cannot be used for a file", "该名称不能用作文件名"},
    {"The device is offline", "设备已下线"},
    {"The device has deleted the file", "设备已删除该文件"},
};

}  // namespace

QString Chinese::translate(const char*, const char* text, const char*, int) const {
  const auto* const found = std::ranges::find(kTexts, text, [](const auto& entry) { return entry.first; });
  return found == std::end(kTexts) ? QString() : QString::fromUtf8(found->second);
}

}  // namespace player
