<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="zh_CN">
<context>
    <name>CaptchaModule</name>
    <message>
        <source>以 root 身份运行时无法打开验证码，请用普通用户运行本程序。</source>
        <translation>The captcha cannot be opened by root; run the program as an ordinary user.</translation>
    </message>
    <message>
        <source>短信验证需要网页引擎，请安装软件包 parlowen-captcha。
（自行编译时：安装 qt6-webengine-dev 后重新构建）</source>
        <translation>Codes by SMS need the web engine: install the package parlowen-captcha.
(Built by yourself: install qt6-webengine-dev and build again.)</translation>
    </message>
    <message>
        <source>短信验证需要网页引擎，请安装软件包 libqt6webenginewidgets6。</source>
        <translation>Codes by SMS need the web engine: install the package libqt6webenginewidgets6.</translation>
    </message>
</context>
<context>
    <name>Composition</name>
    <message>
        <source>服务器的回复无法识别，请稍后再试</source>
        <translation>The server&apos;s reply cannot be read; please try again later</translation>
    </message>
</context>
<context>
    <name>MicroManagement</name>
    <message>
        <source>没有麦克风权限</source>
        <translation>No permission to use the microphone</translation>
    </message>
    <message>
        <source>没有授权麦克风</source>
        <translation>The microphone is not permitted</translation>
    </message>
    <message>
        <source>没有授权</source>
        <translation>No permission</translation>
    </message>
</context>
<context>
    <name>Pages</name>
    <message>
        <source>登录</source>
        <translation>Sign in</translation>
    </message>
    <message>
        <source>AI面试</source>
        <translation>AI interview</translation>
    </message>
    <message>
        <source>个人中心</source>
        <translation>Account</translation>
    </message>
    <message>
        <source>面试设置</source>
        <translation>Settings</translation>
    </message>
    <message>
        <source>版本信息</source>
        <translation>About</translation>
    </message>
    <message>
        <source>历史</source>
        <translation>History</translation>
    </message>
    <message>
        <source>学霸卡</source>
        <translation>Study card</translation>
    </message>
    <message>
        <source>活动</source>
        <translation>Activities</translation>
    </message>
    <message>
        <source>退出登录</source>
        <translation>Sign out</translation>
    </message>
</context>
<context>
    <name>QFileDialog</name>
    <message>
        <source>位置：</source>
        <translation>Look in:</translation>
    </message>
    <message>
        <source>文件名：</source>
        <translation>File name:</translation>
    </message>
    <message>
        <source>类型：</source>
        <translation>Type:</translation>
    </message>
    <message>
        <source>打开</source>
        <translation>Open</translation>
    </message>
    <message>
        <source>取消</source>
        <translation>Cancel</translation>
    </message>
</context>
<context>
    <name>QMessageBox</name>
    <message>
        <source>确定</source>
        <translation>OK</translation>
    </message>
</context>
<context>
    <name>Transport</name>
    <message>
        <source>请求超时，请重试</source>
        <translation>The request timed out; please try again</translation>
    </message>
    <message>
        <source>无法连接到服务器，请稍后再试</source>
        <translation>The server cannot be reached; please try again later</translation>
    </message>
    <message>
        <source>网络未连接，请检查你的网络设置</source>
        <translation>There is no network connection; please check your network settings</translation>
    </message>
    <message>
        <source>请求失败：%1</source>
        <translation>Request failed: %1</translation>
    </message>
</context>
<context>
    <name>parlowen::AIInterviewDetailController</name>
    <message>
        <source>请输入文本</source>
        <translation>Please enter a text</translation>
    </message>
</context>
<context>
    <name>parlowen::AISettingViewController</name>
    <message>
        <source>麦克风声音</source>
        <translation>Microphone</translation>
    </message>
    <message>
        <source>系统声音</source>
        <translation>System sound</translation>
    </message>
    <message>
        <source>音频输入设备</source>
        <translation>Audio input</translation>
    </message>
    <message>
        <source>字体大小</source>
        <translation>Text size</translation>
    </message>
    <message>
        <source>岗位及角色</source>
        <translation>Position and role</translation>
    </message>
    <message>
        <source>点击填写目标岗位和你的角色</source>
        <translation>Click to enter the position and your role</translation>
    </message>
    <message>
        <source>填写岗位</source>
        <translation>position</translation>
    </message>
    <message>
        <source>上传简历</source>
        <translation>résumé</translation>
    </message>
    <message>
        <source>，也没有</source>
        <translation> and no </translation>
    </message>
    <message>
        <source>还没有面试设置，这里的选择不会保存：请先打开一次 AI面试 页。</source>
        <translation>There are no interview settings yet, and choices here are not kept: open the page &quot;AI interview&quot; once first.</translation>
    </message>
    <message>
        <source>还没有%1，回答只能是通用的</source>
        <translation>There is no %1 yet: answers can only be general</translation>
    </message>
    <message>
        <source>已改为%1</source>
        <translation>Changed to: %1</translation>
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
    <name>parlowen::AnswersModel</name>
    <message>
        <source>▸ 简历依据（%1）</source>
        <translation>▸ From your résumé (%1)</translation>
    </message>
    <message>
        <source>▾ 简历依据
%1</source>
        <translation>▾ From your résumé
%1</translation>
    </message>
</context>
<context>
    <name>parlowen::AppDelegate</name>
    <message>
        <source>面试还在进行，要退出吗？</source>
        <translation>An interview is running. Quit all the same?</translation>
    </message>
    <message>
        <source>退出会结束这场面试，窗口里的文字和回答随之消失。</source>
        <translation>Quitting ends it; the text and the answers in its window go with it.</translation>
    </message>
    <message>
        <source>继续面试</source>
        <translation>Go on</translation>
    </message>
    <message>
        <source>结束并退出</source>
        <translation>End and quit</translation>
    </message>
    <message>
        <source>端口 %1 被别的程序占用，它不是您的服务，没有向它发送密码。已改用自己的服务。</source>
        <translation>Another program holds port %1. It is not your service, and no password was sent to it. Your own service is used instead.</translation>
    </message>
    <message>
        <source>无法连接服务</source>
        <translation>The service cannot be reached</translation>
    </message>
    <message>
        <source>退出程序</source>
        <translation>Quit</translation>
    </message>
    <message>
        <source>重试</source>
        <translation>Try again</translation>
    </message>
    <message>
        <source>关闭窗口后继续运行吗？</source>
        <translation>Keep running when the window is closed?</translation>
    </message>
    <message>
        <source>这个桌面没有托盘。留在后台时，再次启动 Parlowen 就会回到这个窗口。以后不再询问。</source>
        <translation>This desktop has no tray. In the background, starting Parlowen again brings this window back. You will not be asked again.</translation>
    </message>
    <message>
        <source>留在后台</source>
        <translation>Keep running</translation>
    </message>
    <message>
        <source>全局快捷键不可用：%1</source>
        <translation>Shortcuts cannot be used in other programs: %1</translation>
    </message>
    <message>
        <source>找不到示例录音，请重新安装 Parlowen。</source>
        <translation>The sample recording is missing; install Parlowen anew.</translation>
    </message>
    <message>
        <source>登录已失效，请重新登录</source>
        <translation>You were signed out. Please sign in again</translation>
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
        <translation>Support</translation>
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
    <message>
        <source>这里没有客服的二维码</source>
        <translation>There is no support code here</translation>
    </message>
    <message>
        <source>暂时无法获取二维码</source>
        <translation>The code cannot be fetched now</translation>
    </message>
</context>
<context>
    <name>parlowen::ContentContainerViewController</name>
    <message>
        <source>账号已退出登录</source>
        <translation>Signed out</translation>
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
    <name>parlowen::HomeLeftCustomView</name>
    <message>
        <source>当前页面</source>
        <translation>current page</translation>
    </message>
</context>
<context>
    <name>parlowen::InterviewSettingViewController</name>
    <message>
        <source>面试设置</source>
        <translation>Interview settings</translation>
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
        <translation>Campus recruiting and companies at home</translation>
    </message>
    <message>
        <source>国外面试AI</source>
        <translation>Interviews abroad</translation>
    </message>
    <message>
        <source>适应于海外求职或学术面试，涉及翻译</source>
        <translation>Jobs and studies abroad, translated</translation>
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
    <name>parlowen::LanguageListViewController</name>
    <message>
        <source>搜索国家/地区</source>
        <translation>Search languages</translation>
    </message>
    <message>
        <source>正在获取语言列表…</source>
        <translation>Getting the list of languages…</translation>
    </message>
    <message>
        <source>无法获取语言列表</source>
        <translation>The list of languages could not be fetched</translation>
    </message>
    <message>
        <source>暂无可选语言</source>
        <translation>There is no language to choose</translation>
    </message>
    <message>
        <source>没有匹配的语言</source>
        <translation>No language matches</translation>
    </message>
    <message>
        <source>语言</source>
        <translation>Languages</translation>
    </message>
</context>
<context>
    <name>parlowen::LanguageNotice</name>
    <message>
        <source>改用“%1”</source>
        <translation>Use %1</translation>
    </message>
    <message>
        <source>听不懂“%1”</source>
        <translation>does not understand &quot;%1&quot;</translation>
    </message>
    <message>
        <source>仍然开始</source>
        <translation>Start anyway</translation>
    </message>
    <message>
        <source>返回</source>
        <translation>Back</translation>
    </message>
    <message>
        <source>服务听不懂，不会有文字</source>
        <translation>Not understood: no text</translation>
    </message>
    <message>
        <source>服务不能译成它，不会有文字</source>
        <translation>No translation: no text</translation>
    </message>
    <message>
        <source>不能译成“%1”</source>
        <translation>cannot translate into &quot;%1&quot;</translation>
    </message>
    <message>
        <source>识别“%1”</source>
        <translation>listen for &quot;%1&quot;</translation>
    </message>
    <message>
        <source>译成“%1”</source>
        <translation>translate into &quot;%1&quot;</translation>
    </message>
    <message>
        <source>，</source>
        <translation> and </translation>
    </message>
    <message>
        <source>它%1。这样开始的面试不会有文字，也不会有回答。</source>
        <translation>It %1. Started like this, the interview would have no text and no answers.</translation>
    </message>
    <message>
        <source>可以改为%1。</source>
        <translation>It can %1 instead.</translation>
    </message>
    <message>
        <source>不需要译文时，请在右上角改选“国内面试AI”。</source>
        <translation>Without need of a translation, choose &quot;Domestic interviews&quot; at the top right.</translation>
    </message>
    <message>
        <source>当前服务没有所选的语言</source>
        <translation>The service does not offer what is chosen</translation>
    </message>
    <message>
        <source>改用并开始</source>
        <translation>Change and start</translation>
    </message>
</context>
<context>
    <name>parlowen::LevelMeter</name>
    <message>
        <source>音量</source>
        <translation>Level</translation>
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
        <translation>Ideas per question</translation>
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
        <translation>Stay signed in</translation>
    </message>
    <message>
        <source>联系客服</source>
        <translation>Support</translation>
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
        <source>服务就在这台电脑上。
除非您另行设置，任何内容都不会离开本机</source>
        <translation>The service is on this computer.
Nothing leaves it, unless you set that up</translation>
    </message>
</context>
<context>
    <name>parlowen::LoginViewController</name>
    <message>
        <source>请解锁密钥环，以自动登录</source>
        <translation>Unlock the keyring to be signed in automatically</translation>
    </message>
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
        <translation>At least 6 characters</translation>
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
        <translation>Support</translation>
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
    <message>
        <source>正在注销...</source>
        <translation>Deleting the account...</translation>
    </message>
</context>
<context>
    <name>parlowen::PersonalNotice</name>
    <message>
        <source>去上传</source>
        <translation>Upload</translation>
    </message>
    <message>
        <source>去填写</source>
        <translation>Fill in</translation>
    </message>
    <message>
        <source>没有岗位和简历，回答会笼统</source>
        <translation>Answers lack position, résumé</translation>
    </message>
    <message>
        <source>没有岗位，回答会笼统</source>
        <translation>Answers lack your position</translation>
    </message>
    <message>
        <source>没有简历，回答用不上您的经历</source>
        <translation>Answers lack your résumé</translation>
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
    <name>parlowen::QuestionBox</name>
    <message>
        <source>撤销</source>
        <translation>Undo</translation>
    </message>
    <message>
        <source>重做</source>
        <translation>Redo</translation>
    </message>
    <message>
        <source>剪切</source>
        <translation>Cut</translation>
    </message>
    <message>
        <source>复制</source>
        <translation>Copy</translation>
    </message>
    <message>
        <source>粘贴</source>
        <translation>Paste</translation>
    </message>
    <message>
        <source>删除</source>
        <translation>Delete</translation>
    </message>
    <message>
        <source>全选</source>
        <translation>Select all</translation>
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
    <message>
        <source>清除</source>
        <translation>Clear</translation>
    </message>
</context>
<context>
    <name>parlowen::SessionMenu</name>
    <message>
        <source>背景不透明度</source>
        <translation>Background opacity</translation>
    </message>
    <message>
        <source>复制</source>
        <translation>Copy</translation>
    </message>
    <message>
        <source>复制全部</source>
        <translation>Copy all</translation>
    </message>
    <message>
        <source>全选</source>
        <translation>Select all</translation>
    </message>
    <message>
        <source>放大文字</source>
        <translation>Larger text</translation>
    </message>
    <message>
        <source>缩小文字</source>
        <translation>Smaller text</translation>
    </message>
    <message>
        <source>默认大小</source>
        <translation>Usual size</translation>
    </message>
    <message>
        <source>背景更实</source>
        <translation>Denser background</translation>
    </message>
    <message>
        <source>背景更透</source>
        <translation>Clearer background</translation>
    </message>
    <message>
        <source>菜单</source>
        <translation>Menu</translation>
    </message>
</context>
<context>
    <name>parlowen::SessionPage</name>
    <message>
        <source>面试记录</source>
        <translation>Transcript</translation>
    </message>
    <message>
        <source>AI回答</source>
        <translation>AI answers</translation>
    </message>
    <message>
        <source>对话的文字会显示在这里</source>
        <translation>What is said appears here</translation>
    </message>
    <message>
        <source>点“回答”或按 Ctrl+Enter，AI 的回答会显示在这里</source>
        <translation>Press &quot;Answer&quot; or Ctrl+Enter, and the AI&apos;s answer appears here</translation>
    </message>
    <message>
        <source>AI 对每个问题的回答会显示在这里</source>
        <translation>The AI&apos;s answer to each question appears here</translation>
    </message>
    <message>
        <source>问题</source>
        <translation>Question</translation>
    </message>
    <message>
        <source>回答</source>
        <translation>Answer</translation>
    </message>
    <message>
        <source>取消置顶</source>
        <translation>Unpin</translation>
    </message>
    <message>
        <source>置顶</source>
        <translation>Keep on top</translation>
    </message>
</context>
<context>
    <name>parlowen::SessionWindow</name>
    <message>
        <source>AI面试</source>
        <translation>AI interview</translation>
    </message>
    <message>
        <source>关闭</source>
        <translation>Close</translation>
    </message>
    <message>
        <source>要结束这场面试吗？</source>
        <translation>End this interview?</translation>
    </message>
    <message>
        <source>窗口里的文字和回答会随窗口消失，不会另外保存。</source>
        <translation>Its text and answers go with the window; they are kept nowhere else.</translation>
    </message>
    <message>
        <source>继续</source>
        <translation>Go on</translation>
    </message>
    <message>
        <source>复制全部并结束</source>
        <translation>Copy all and end</translation>
    </message>
    <message>
        <source>不复制，直接结束</source>
        <translation>End without copying</translation>
    </message>
</context>
<context>
    <name>parlowen::SetupForm</name>
    <message>
        <source>系统声音</source>
        <translation>System sound</translation>
    </message>
    <message>
        <source>回答风格</source>
        <translation>Style</translation>
    </message>
    <message>
        <source>极简风格</source>
        <translation>Concise</translation>
    </message>
    <message>
        <source>详细风格</source>
        <translation>Detailed</translation>
    </message>
    <message>
        <source>回答模式</source>
        <translation>Answers</translation>
    </message>
    <message>
        <source>自动回答</source>
        <translation>Automatic</translation>
    </message>
    <message>
        <source>手动回答</source>
        <translation>On request</translation>
    </message>
    <message>
        <source>识别语言</source>
        <translation>Spoken</translation>
    </message>
    <message>
        <source>翻译语言</source>
        <translation>Translated</translation>
    </message>
    <message>
        <source>悬浮窗开始面试</source>
        <translation>Start the interview</translation>
    </message>
    <message>
        <source>麦克风声音</source>
        <translation>Microphone</translation>
    </message>
    <message>
        <source>正在确认语言…</source>
        <translation>Checking languages…</translation>
    </message>
    <message>
        <source>用示例排练</source>
        <translation>Rehearse</translation>
    </message>
    <message>
        <source>用一段英文面试录音试一次，不占用麦克风</source>
        <translation>Try it on a recorded interview in English; the microphone is left alone</translation>
    </message>
    <message>
        <source>改听麦克风</source>
        <translation>Hear a microphone</translation>
    </message>
    <message>
        <source>改听系统声音</source>
        <translation>Hear the computer</translation>
    </message>
    <message>
        <source>面对面的面试，改听麦克风</source>
        <translation>For an interview face to face: hear a microphone</translation>
    </message>
    <message>
        <source>线上的面试，改听电脑播放的声音</source>
        <translation>For an interview online: hear what the computer plays</translation>
    </message>
</context>
<context>
    <name>parlowen::ShortcutSwitch</name>
    <message>
        <source>显示或隐藏面试窗口</source>
        <translation>show or hide the interview window</translation>
    </message>
    <message>
        <source>立即回答（手动回答时）</source>
        <translation>answer now (with answers on request)</translation>
    </message>
    <message>
        <source>开始或结束面试</source>
        <translation>start or end an interview</translation>
    </message>
    <message>
        <source>在其他程序中也能使用的快捷键</source>
        <translation>Shortcuts that work in other programs too</translation>
    </message>
</context>
<context>
    <name>parlowen::SoundCheckView</name>
    <message>
        <source>声音检测</source>
        <translation>Sound check</translation>
    </message>
    <message>
        <source>关闭</source>
        <translation>Close</translation>
    </message>
    <message>
        <source>正在播放测试音并收听…</source>
        <translation>Playing a test tone and listening…</translation>
    </message>
</context>
<context>
    <name>parlowen::SoundStrip</name>
    <message>
        <source>收听哪个程序</source>
        <translation>Which program is heard</translation>
    </message>
    <message>
        <source>全部声音</source>
        <translation>All sound</translation>
    </message>
    <message>
        <source>检测声音</source>
        <translation>Check sound</translation>
    </message>
    <message>
        <source>%1（未播放）</source>
        <translation>%1 (not playing)</translation>
    </message>
    <message>
        <source>现在开始的面试什么也听不到。</source>
        <translation>Started now, the interview would hear nothing. </translation>
    </message>
    <message>
        <source>改听系统声音</source>
        <translation>Hear the computer</translation>
    </message>
    <message>
        <source>%1。%2</source>
        <translation>%1. %2</translation>
    </message>
</context>
<context>
    <name>parlowen::StatusDetails</name>
    <message>
        <source>可以这样做</source>
        <translation>What you can do</translation>
    </message>
</context>
<context>
    <name>parlowen::TopBarView</name>
    <message>
        <source>你的面试翻译助手</source>
        <translation>Your interview assistant</translation>
    </message>
    <message>
        <source>切换面试类型</source>
        <translation>Change the kind of interview</translation>
    </message>
</context>
<context>
    <name>parlowen::TranscriptModel</name>
    <message>
        <source>… %1 s 未听到 …</source>
        <translation>… %1 s not heard …</translation>
    </message>
    <message>
        <source>（识别中）</source>
        <translation> (being recognised)</translation>
    </message>
</context>
<context>
    <name>parlowen::TrayIcon</name>
    <message>
        <source>显示主窗口</source>
        <translation>Show Main Window</translation>
    </message>
    <message>
        <source>开始面试</source>
        <translation>Start an Interview</translation>
    </message>
    <message>
        <source>用示例排练</source>
        <translation>Rehearse with the Sample</translation>
    </message>
    <message>
        <source>退出</source>
        <translation>Quit</translation>
    </message>
    <message>
        <source>Parlowen 仍在运行</source>
        <translation>Parlowen is still running</translation>
    </message>
    <message>
        <source>点击托盘图标可以随时打开或退出。</source>
        <translation>Click its icon in the tray to open it or to quit.</translation>
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
    <message>
        <source>已选择文件：%1</source>
        <translation>Chosen file: %1</translation>
    </message>
    <message>
        <source>一次只能上传一个文件</source>
        <translation>Only one file can be uploaded at a time</translation>
    </message>
    <message>
        <source>只能上传本机上的文件</source>
        <translation>Only files on this computer can be uploaded</translation>
    </message>
    <message>
        <source>不支持这种文件，请选择 %1</source>
        <translation>Files of this type are not taken; choose %1</translation>
    </message>
    <message>
        <source>已离开设置页，简历没有上传完</source>
        <translation>The settings were left before the résumé was uploaded</translation>
    </message>
    <message>
        <source>无法获取上传凭证，点击重试</source>
        <translation>The permission to upload could not be fetched; click to try again</translation>
    </message>
    <message>
        <source>请求失败</source>
        <translation>Request failed</translation>
    </message>
    <message>
        <source>无法获取上传凭证</source>
        <translation>The permission to upload could not be fetched</translation>
    </message>
    <message>
        <source>选择简历文件</source>
        <translation>Choose a résumé</translation>
    </message>
    <message>
        <source>简历文件</source>
        <translation>Résumé files</translation>
    </message>
    <message>
        <source>已上传，回答会参考这份简历</source>
        <translation>Uploaded; answers will draw on this résumé</translation>
    </message>
    <message>
        <source>上传成功</source>
        <translation>Uploaded</translation>
    </message>
    <message>
        <source>文件 %1 已成功上传</source>
        <translation>The file %1 was uploaded</translation>
    </message>
    <message>
        <source>%1 上传失败，点击重试</source>
        <translation>%1 could not be uploaded; click to try again</translation>
    </message>
    <message>
        <source>上传失败</source>
        <translation>Upload failed</translation>
    </message>
    <message>
        <source>正在准备上传…</source>
        <translation>Preparing the upload…</translation>
    </message>
    <message>
        <source>正在绑定到你的账号…</source>
        <translation>Adding it to your account…</translation>
    </message>
    <message>
        <source>正在读取文件…</source>
        <translation>Reading the file…</translation>
    </message>
    <message>
        <source>已发送，正在等待处理…</source>
        <translation>Sent; waiting until it is processed…</translation>
    </message>
    <message>
        <source>文件可能太大（%1）</source>
        <translation>the file may be too large (%1)</translation>
    </message>
    <message>
        <source>%1 上传失败：%2</source>
        <translation>%1 could not be uploaded: %2</translation>
    </message>
    <message>
        <source>、</source>
        <translation>, </translation>
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
<context>
    <name>parlowen::ViewController</name>
    <message>
        <source>菜单</source>
        <translation>Menu</translation>
    </message>
</context>
</TS>
