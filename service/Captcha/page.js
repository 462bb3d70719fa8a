"use strict";

const part = id => document.getElementById(id);
const slider = part("slider");
const longestLeap = 90;
const tooMany = 1003;
let captcha = null;
let trace = [];
let dragging = false;
let inWords = false;

// The page is Chinese; whoever's browser asks for another language reads it in English.
const english = navigator.language && !navigator.language.startsWith("zh");
const inEnglish = {
  "安全验证": "Security check",
  "拖动滑块，使拼图块与缺口重合": "Drag the slider until the piece fits the gap",
  "带有缺口的图片。看不清图片时，请按“改用文字验证”。": "A picture with a gap. If you cannot see it, press \"Use words\".",
  "拼图块的位置": "The piece's place",
  "键盘：方向键、Page Up、Page Down 移动，回车确认": "Keys: arrows, Page Up, Page Down; Enter confirms",
  "确认": "Confirm",
  "换一张": "Another",
  "改用文字验证": "Use words",
  "改用拼图验证": "Use the picture",
  "正在加载…": "Loading…",
  "无法连接，请按“换一张”重试": "No connection; press \"Another\" to retry",
  "没有对准，请再试一次": "That was not it; please try again",
  "答案不正确，请再试一次": "That was not it; please try again",
  "验证成功": "Verified",
};

function words(text) {
  if (!english)
    return text;
  const minutes = /或在 (\d+) 分钟后再试/.exec(text);
  if (minutes)
    return `Too many answers in words: move the slider with the arrow keys, or try again in ${minutes[1]} min`;
  const seconds = /请在 (\d+) 秒后再试/.exec(text);
  return seconds ? `Too many tries; again in ${seconds[1]} s` : inEnglish[text] || text;
}

// "请依次输入下面第 3、1 个数字：三，七，零": places, then digits in words.
function question(text) {
  const [places, digits] = text.split("：");
  if (!english || !digits)
    return text;
  const names = ["zero", "one", "two", "three", "four", "five", "six", "seven", "eight", "nine"];
  const shown = digits.split("，").map(digit => names["零一二三四五六七八九".indexOf(digit)]);
  return `Type the digits at places ${places.match(/\d+/g).join(", ")} of: ${shown.join(", ")}`;
}

function translate() {
  document.documentElement.lang = "en";
  document.title = words(document.title);
  for (const element of document.querySelectorAll("h1, p, button"))
    element.textContent = words(element.textContent);
  part("picture").alt = words(part("picture").alt);
  slider.setAttribute("aria-label", words(slider.getAttribute("aria-label")));
}

function say(text, kind = "") {
  part("status").textContent = words(text);
  part("status").className = kind;
}

async function post(path, body) {
  const reply = await fetch(path, {
    method: "POST", headers: { "Content-Type": "application/json" }, credentials: "omit", body: JSON.stringify(body),
  });
  return reply.json();
}

function place(x) {
  slider.value = x;
  slider.setAttribute("aria-valuetext", english ? `${x} pixels` : `${x} 像素`);
  part("piece").style.left = `${x}px`;
}

function show() {
  part("puzzle").hidden = inWords;
  part("confirm").hidden = inWords;
  part("words").hidden = !inWords;
  part("other").textContent = words(inWords ? "改用拼图验证" : "改用文字验证");
  (inWords ? part("text") : slider).focus();
}

async function load(message = "", kind = "") {
  captcha = null;
  slider.disabled = true;
  trace = [];
  place(0);
  part("text").value = "";
  try {
    const reply = await post("challenge", {});
    if (reply.code !== 0)
      return say(reply.message, "bad");
    captcha = reply.data;
  } catch {
    return say("无法连接，请按“换一张”重试", "bad");
  }
  part("picture").src = captcha.picture;
  part("piece").src = captcha.piece;
  part("piece").style.top = `${captcha.top}px`;
  part("question").textContent = question(captcha.question);
  slider.disabled = false;
  trace = [[performance.now(), 0]];
  say(message, kind);
  show();
}

async function answer(fields) {
  if (!captcha)
    return;
  const id = captcha.id;
  captcha = null;
  slider.disabled = true;
  let reply;
  try {
    reply = await post("answer", { id, ...fields });
  } catch {
    return say("无法连接，请按“换一张”重试", "bad");
  }
  if (reply.code === tooMany)
    inWords = false;
  if (reply.code !== 0)
    return load(reply.message, "bad");
  say("验证成功", "good");
  const handlers = window.webkit && window.webkit.messageHandlers;
  if (handlers && handlers.captchaHandler)
    handlers.captchaHandler.postMessage({ type: "success", data: { validate: reply.data.validate } });
}

const confirmPlace = () => {
  if (trace.length > 1)
    answer({ x: Number(slider.value), trace });
};

// A press beside the handle would make it leap.
slider.addEventListener("pointerdown", event => {
  const box = slider.getBoundingClientRect();
  const handle = Number(slider.value) * (box.width - 56) / 264;
  const at = event.clientX - box.left;
  if (at < handle || at > handle + 56)
    event.preventDefault();
  else
    dragging = true;
});
slider.addEventListener("input", () => {
  const x = Number(slider.value);
  const last = trace.length > 0 ? trace[trace.length - 1][1] : 0;
  if (!dragging && Math.abs(x - last) > longestLeap) // no drag: a press beside the handle
    return place(last);
  if (trace.length === 1)
    trace[0][0] = performance.now();
  trace.push([performance.now(), x]);
  if (trace.length > 1000)
    trace = trace.filter((_, i) => i % 2 === 0 || i > 990);
  place(x);
});
window.addEventListener("pointerup", () => {
  if (dragging)
    setTimeout(confirmPlace, 0);
  dragging = false;
});
slider.addEventListener("keydown", event => {
  if (event.key === "Enter") {
    event.preventDefault();
    confirmPlace();
  }
});
part("confirm").addEventListener("click", confirmPlace);
part("again").addEventListener("click", () => load());
part("other").addEventListener("click", () => {
  inWords = !inWords;
  show();
});
part("puzzle").addEventListener("submit", event => event.preventDefault());
part("words").addEventListener("submit", event => {
  event.preventDefault();
  if (part("text").value.trim())
    answer({ text: part("text").value.trim() });
});
if (english)
  translate();
load();
