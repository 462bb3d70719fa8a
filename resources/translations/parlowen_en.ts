<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="zh_CN">
<context>
    <name>QMessageBox</name>
    <message>
        <source>确定</source>
        <translation>OK</translation>
    </message>
</context>
<context>
    <name>parlowen::AboutMeViewController</name>
    <message>
        <source>检查最新版本</source>
        <translation>Check for updates</translation>
    </message>
    <message>
        <source>当前版本：</source>
        <translation>Current version: </translation>
    </message>
    <message>
        <source>当前已经是最新版本</source>
        <translation>This is the newest version</translation>
    </message>
</context>
<context>
    <name>parlowen::CaptchaViewController</name>
    <message>
        <source>无法打开安全验证</source>
        <translation>The security check cannot be opened</translation>
    </message>
    <message>
        <source>关闭</source>
        <translation>Close</translation>
    </message>
    <message>
        <source>安全验证</source>
        <translation>Security check</translation>
    </message>
</context>
<context>
    <name>parlowen::ChoiceBox</name>
    <message>
        <source>请选择语言</source>
        <translation>Choose a language</translation>
    </message>
    <message>
        <source>%1：%2</source>
        <translation>%1: %2</translation>
    </message>
</context>
<context>
    <name>parlowen::CommonTipView</name>
    <message>
        <source>更新提示</source>
        <translation>Update</translation>
    </message>
    <message>
        <source>请更新到最新版本体验更多功能，点击下方按钮可更新，无需可忽略。</source>
        <translation>A newer version offers more. Update with the button below, or skip it.</translation>
    </message>
    <message>
        <source>忽略</source>
        <translation>Skip</translation>
    </message>
    <message>
        <source>去更新</source>
        <translation>Update</translation>
    </message>
</context>
<context>
    <name>parlowen::ContactView</name>
    <message>
        <source>联系客服</source>
        <translation>Contact support</translation>
    </message>
    <message>
        <source>扫一扫上面二维码，添加客服</source>
        <translation>Scan the code above to reach support</translation>
    </message>
    <message>
        <source>客服二维码</source>
        <translation>Support&apos;s QR code</translation>
    </message>
    <message>
        <source>关闭</source>
        <translation>Close</translation>
    </message>
</context>
<context>
    <name>parlowen::CountryListViewController</name>
    <message>
        <source>搜索国家/地区</source>
        <translation>Search countries and regions</translation>
    </message>
    <message>
        <source>国家</source>
        <translation>Countries</translation>
    </message>
    <message>
        <source>正在获取国家/地区列表…</source>
        <translation>Getting the list of countries…</translation>
    </message>
    <message>
        <source>无法获取国家/地区列表</source>
        <translation>The list of countries could not be fetched</translation>
    </message>
    <message>
        <source>没有匹配的国家/地区</source>
        <translation>No country matches</translation>
    </message>
</context>
<context>
    <name>parlowen::InterviewContentView</name>
    <message>
        <source>，已选择</source>
        <translation>, selected</translation>
    </message>
</context>
<context>
    <name>parlowen::InterviewTypeView</name>
    <message>
        <source>国内面试AI</source>
        <translation>Domestic interviews</translation>
    </message>
    <message>
        <source>适用于国内校招、公司、机构</source>
        <translation>For campus recruiting, companies and institutions at home</translation>
    </message>
    <message>
        <source>国外面试AI</source>
        <translation>Interviews abroad</translation>
    </message>
    <message>
        <source>适应于海外求职或学术面试，涉及翻译</source>
        <translation>For jobs or academic interviews abroad, with translation</translation>
    </message>
    <message>
        <source>都可能涉及</source>
        <translation>Either kind</translation>
    </message>
    <message>
        <source>AI面试</source>
        <translation>AI interview</translation>
    </message>
    <message>
        <source>选择面试类型</source>
        <translation>Choose the kind of interview</translation>
    </message>
    <message>
        <source>有助于更好的展示ai面试效果哦～</source>
        <translation>It helps the AI to suit your interview</translation>
    </message>
    <message>
        <source>跳过</source>
        <translation>Skip</translation>
    </message>
    <message>
        <source>确定</source>
        <translation>OK</translation>
    </message>
</context>
<context>
    <name>parlowen::LoginBrand</name>
    <message>
        <source>听得清，答得稳</source>
        <translation>Hear clearly, answer calmly</translation>
    </message>
    <message>
        <source>实时转写对话</source>
        <translation>Live transcript</translation>
    </message>
    <message>
        <source>逐题给出思路</source>
        <translation>Ideas for each question</translation>
    </message>
    <message>
        <source>贴合你的简历</source>
        <translation>True to your résumé</translation>
    </message>
</context>
<context>
    <name>parlowen::LoginForm</name>
    <message>
        <source>登录 Parlowen</source>
        <translation>Sign in to Parlowen</translation>
    </message>
    <message>
        <source>国家/地区</source>
        <translation>Country or region</translation>
    </message>
    <message>
        <source>手机号</source>
        <translation>Phone number</translation>
    </message>
    <message>
        <source>请输入手机号</source>
        <translation>Phone number</translation>
    </message>
    <message>
        <source>密码</source>
        <translation>Password</translation>
    </message>
    <message>
        <source>自动登录</source>
        <translation>Sign in automatically</translation>
    </message>
    <message>
        <source>联系客服</source>
        <translation>Contact support</translation>
    </message>
    <message>
        <source>登录</source>
        <translation>Sign in</translation>
    </message>
    <message>
        <source>无需手机号，直接进入</source>
        <translation>Enter without a phone number</translation>
    </message>
    <message>
        <source>服务就在这台电脑上，任何内容都不会离开本机</source>
        <translation>The service runs on this computer; nothing leaves it</translation>
    </message>
</context>
<context>
    <name>parlowen::LoginViewController</name>
    <message>
        <source>发送验证码</source>
        <translation>Send code</translation>
    </message>
    <message>
        <source>登录</source>
        <translation>Sign in</translation>
    </message>
    <message>
        <source>请输入至少6位的密码</source>
        <translation>Password, 6 characters or more</translation>
    </message>
    <message>
        <source>请输入验证码</source>
        <translation>Code</translation>
    </message>
    <message>
        <source>使用手机号和密码</source>
        <translation>With phone number and password</translation>
    </message>
    <message>
        <source>使用手机号和短信验证码</source>
        <translation>With phone number and SMS code</translation>
    </message>
    <message>
        <source>密码</source>
        <translation>Password</translation>
    </message>
    <message>
        <source>验证码</source>
        <translation>Code</translation>
    </message>
    <message>
        <source>显示密码</source>
        <translation>Show password</translation>
    </message>
    <message>
        <source>隐藏密码</source>
        <translation>Hide password</translation>
    </message>
    <message>
        <source>国家/地区</source>
        <translation>Country or region</translation>
    </message>
    <message>
        <source>请选择国家！</source>
        <translation>Please choose a country.</translation>
    </message>
    <message>
        <source>请输入手机号！</source>
        <translation>Please enter a phone number.</translation>
    </message>
    <message>
        <source>安全验证意外退出，请重试</source>
        <translation>The security check ended unexpectedly; please try again</translation>
    </message>
    <message>
        <source>%1s 后可重试</source>
        <translation>Again in %1 s</translation>
    </message>
    <message>
        <source>用户名和密码不能为空！</source>
        <translation>Phone number and password must not be empty.</translation>
    </message>
    <message>
        <source>主面板</source>
        <translation>Main panel</translation>
    </message>
    <message>
        <source>登录中...</source>
        <translation>Signing in…</translation>
    </message>
</context>
<context>
    <name>parlowen::MineViewController</name>
    <message>
        <source>联系客服</source>
        <translation>Contact support</translation>
    </message>
    <message>
        <source>账号注销</source>
        <translation>Delete account</translation>
    </message>
    <message>
        <source>温馨提示</source>
        <translation>Please note</translation>
    </message>
    <message>
        <source>注销后您的身份、账户信息、钱包余额及优惠卷、订单信息都将会被清空且无法找回</source>
        <translation>Your identity, account, balance, vouchers and orders will be erased and cannot be brought back.</translation>
    </message>
    <message>
        <source>取消</source>
        <translation>Cancel</translation>
    </message>
    <message>
        <source>注销</source>
        <translation>Delete</translation>
    </message>
    <message>
        <source>复制</source>
        <translation>Copy</translation>
    </message>
    <message>
        <source>复制 ID</source>
        <translation>Copy ID</translation>
    </message>
    <message>
        <source>已复制到剪切板</source>
        <translation>Copied to the clipboard</translation>
    </message>
</context>
<context>
    <name>parlowen::PositionView</name>
    <message>
        <source>岗位及角色</source>
        <translation>Position and role</translation>
    </message>
    <message>
        <source>填写内容有助于更好的AI面试效果哦~</source>
        <translation>The more you write, the better the answers suit you</translation>
    </message>
    <message>
        <source>取消</source>
        <translation>Cancel</translation>
    </message>
    <message>
        <source>确定</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>例如：后端工程师，应聘电商公司，熟悉 C++ 与分布式系统</source>
        <translation>For example: backend engineer, applying to an online shop, at home in C++ and distributed systems</translation>
    </message>
</context>
<context>
    <name>parlowen::ReadingList</name>
    <message>
        <source>↓ 最新内容</source>
        <translation>↓ Newest</translation>
    </message>
    <message>
        <source>↓ %1 条新内容</source>
        <translation>↓ %1 new</translation>
    </message>
</context>
<context>
    <name>parlowen::RecordButton</name>
    <message>
        <source>查看</source>
        <translation>View</translation>
    </message>
</context>
<context>
    <name>parlowen::SearchList</name>
    <message>
        <source>重试</source>
        <translation>Try again</translation>
    </message>
</context>
<context>
    <name>parlowen::UpdateResumeView</name>
    <message>
        <source>文件格式支持(text，docx，pdf等)，简历如有更新可以重新上传覆盖</source>
        <translation>Text, DOCX, PDF and more; a newer résumé replaces this one</translation>
    </message>
    <message>
        <source>上传简历</source>
        <translation>Upload résumé</translation>
    </message>
    <message>
        <source>上传进度</source>
        <translation>Upload progress</translation>
    </message>
    <message>
        <source>取消</source>
        <translation>Cancel</translation>
    </message>
    <message>
        <source>松开即可上传</source>
        <translation>Release to upload</translation>
    </message>
</context>
<context>
    <name>parlowen::VersionForceAlertView</name>
    <message>
        <source>发现新版本</source>
        <translation>A new version is here</translation>
    </message>
    <message>
        <source>当前已是最新版本，暂无更新</source>
        <translation>This is the newest version</translation>
    </message>
    <message>
        <source>去更新</source>
        <translation>Update</translation>
    </message>
    <message>
        <source>关闭</source>
        <translation>Close</translation>
    </message>
</context>
</TS>
