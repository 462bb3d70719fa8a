#include "Wording.h"

#include "HttpMessage.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace parlowen::service {

namespace {

/// "#" stands for a number.
constexpr std::array<std::pair<std::string_view, std::string_view>, 50> wordings{{
    {"国家/地区代码不正确", "The country or region code is wrong"},
    {"手机号不正确", "The phone number is wrong"},
    {"验证码不能为空", "The code is missing"},
    {"密码过长", "The password is too long"},
    {"登录失败次数过多，请在 # 秒后再试", "Too many failed sign-ins. Try again in # s"},
    {"密码不正确，密码至少#位", "Wrong password: it has at least # characters"},
    {"手机号或密码错误", "Wrong phone number or password"},
    {"验证码错误或已失效", "The code is wrong or has expired"},
    {"验证码发送过于频繁，请在 # 秒后再试", "Too many codes were asked for. Try again in # s"},
    {"登录的人太多，请在 # 秒后再试", "Too many people are signing in. Try again in # s"},
    {"验证码已发送", "The code has been sent"},
    {"验证码发送失败，请稍后再试", "The code could not be sent. Try again later"},
    {"安全验证无效或已过期，请重新验证", "The check is not valid any more. Do it again"},
    {"正在发送的验证码过多，请在 # 秒后再试", "Too many codes are being sent. Try again in # s"},
    {"本服务不支持短信验证码，请使用密码登录", "This service sends no codes. Sign in by password"},
    {"面试类型应为 #、# 或 #", "The interview type is #, # or #"},
    {"面试类型已更新", "The interview type has been changed"},
    {"账号已注销", "The account has been deleted"},
    {"磁盘空间不足或无法写入，数据没有保存", "The disk is full or cannot be written. Nothing was saved"},
    {"磁盘空间不足或无法写入，文件没有保存", "The disk is full or cannot be written. The file was not saved"},
    {"连接的人太多，请在 # 秒后再试", "Too many people are connected. Try again in # s"},
    {"请求格式不正确", "The request is malformed"},
    {"登录已失效，请重新登录", "The sign-in has ended. Sign in again"},
    {"没有这个接口", "There is nothing at this address"},
    {"这个接口不支持该请求方法", "This address takes another method"},
    {"请求内容过大", "The request is too large"},
    {"服务内部错误，请稍后再试", "The service has failed. Try again later"},
    {"不允许从其他网站访问", "Pages of other sites are not let in"},
    {"服务没有允许以这个主机名访问", "The service is not known by this name. Its operator can add it (--host)"},
    {"缺少有效的 Host 请求头", "The request names no host"},
    {"不支持这种 Expect 请求头", "This expectation is not known"},
    {"缺少有效的 Sec-WebSocket-Key 请求头", "The WebSocket key is missing or wrong"},
    {"这个接口只接受 WebSocket 连接", "This address takes WebSockets alone"},
    {"语音识别的连接已满，请在 # 秒后再试", "All places for speech are taken. Try again in # s"},
    {"参数 source 应为 # 或 #", "The parameter source is # or #"},
    {"简历已绑定", "The résumé is yours now"},
    {"正在处理的简历过多，请稍后再试", "Too many résumés are being read. Try again later"},
    {"没有找到这个文件，请重新上传简历", "This file was not found. Upload the résumé again"},
    {"没有收到简历文件，请重新上传", "No résumé has come. Upload it again"},
    {"上传凭证无效或已过期，请重新上传", "The upload has expired. Upload it again"},
    {"上传的表单不完整，请重新上传", "The upload is not whole. Upload it again"},
    {"文件展开后过大或处理时间过长，已停止读取，请换一个文件",
     "The file unfolds to too much or takes too long. Choose another one"},
    {"文件已损坏或带有密码，无法读取", "The file is damaged or has a password, and cannot be read"},
    {"文件中没有找到文字；扫描件请换一份更清楚的", "No text was found in the file. Of a scan, take a clearer one"},
    {"服务正在停止或无法读取文件，请稍后再试", "The service is ending or cannot read the file. Try again later"},
    {"文件是空的，请重新选择", "The file is empty. Choose another one"},
    {"文件内容不是 PDF、Word、PNG 或 JPEG", "The file holds no PDF, Word, PNG or JPEG"},
    {"文件超过 # MB，请压缩后再上传", "The file is larger than # MB. Make it smaller first"},
    {"不支持这种传输编码", "This transfer coding is not known"},
    {"请求头过大", "The header is too large"},
}};

static_assert(std::all_of(wordings.begin(), wordings.end(), [](const auto& wording) {
    const auto numbers = [](std::string_view text) { return std::count(text.begin(), text.end(), '#'); };
    return numbers(wording.first) == numbers(wording.second);
}));

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// With "#" for each number, and the numbers.
std::pair<std::string, std::vector<std::string>> withoutNumbers(std::string_view text) {
    std::pair<std::string, std::vector<std::string>> result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (!isDigit(text[at])) {
            result.first += text[at];
            continue;
        }
        const auto* end = std::find_if_not(text.begin() + at, text.end(), isDigit);
        result.second.emplace_back(text.begin() + at, end);
        result.first += '#';
        at = static_cast<std::size_t>(end - text.begin()) - 1;
    }
    return result;
}

} // namespace

std::optional<std::string> inEnglish(std::string_view message) {
    const auto [bare, numbers] = withoutNumbers(message);
    const auto* found = std::find_if(wordings.begin(), wordings.end(),
                                     [&bare = bare](const auto& wording) { return wording.first == bare; });
    if (found == wordings.end())
        return std::nullopt;
    std::string english;
    auto number = numbers.begin();
    for (const char c : found->second) {
        if (c == '#')
            english += *number++;
        else
            english += c;
    }
    return english;
}

bool prefersEnglish(std::string_view acceptLanguage) {
    return acceptLanguage.size() >= 2 && sameWord(acceptLanguage.substr(0, 2), "en") &&
           (acceptLanguage.size() == 2 || std::string_view("-,; ").find(acceptLanguage[2]) != std::string_view::npos);
}

} // namespace parlowen::service
