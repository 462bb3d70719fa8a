"use strict";

const part = id => document.getElementById(id);
const slider = part("slider");
const longestLeap = 90;
let captcha = null;
let trace = [];
let dragging = false;
let inWords = false;

function say(text, kind = "") {
  part("status").textContent = text;
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
  slider.setAttribute("aria-valuetext", `${x} 像素`);
  part("piece").style.left = `${x}px`;
}

function show() {
  part("puzzle").hidden = inWords;
  part("confirm").hidden = inWords;
  part("words").hidden = !inWords;
  part("other").textContent = inWords ? "改用拼图验证" : "改用文字验证";
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
  part("question").textContent = captcha.question;
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
  if (Math.abs(x - last) > longestLeap)
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
load();
