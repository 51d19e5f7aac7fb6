// page: the socket to the program, and what shows on the page besides the picture.
import { battery_message, keys_of, news, read_state, read_title, take_message } from "./wire.js";
import { make_keys } from "./keys.js";
import { make_screen } from "./screen.js";
import { make_sound } from "./sound.js";
import { make_upload } from "./upload.js";

const again_ms = 500, again_most_ms = 4000; // between two tries to reach the program
const note_ms = 5000;

const by_id = (id) => document.getElementById(id);
const token = new URLSearchParams(location.search).get("token");
const body = document.body;
const device = by_id("device"), canvas = by_id("screen"), battery = by_id("battery");

let socket = null, wait_ms = again_ms, note_timer = 0, upload_mib = 0;

function send(message) {
    if (socket && socket.readyState === WebSocket.OPEN)
        socket.send(message);
}

function say(text, stay) {
    clearTimeout(note_timer);
    by_id("note").textContent = text;
    body.classList.toggle("noting", text !== "");
    if (text && !stay)
        note_timer = setTimeout(() => say(""), note_ms);
}

function room_for_screen() {
    const stage = by_id("stage").getBoundingClientRect();
    return { width: stage.width, height: stage.height };
}

const screen = make_screen(canvas, room_for_screen, send);
const keys = make_keys(canvas, document.querySelectorAll("[data-key]"), send);
const sound = make_sound(send, show_sound);
make_upload(body, by_id("files"), token, () => upload_mib, send, say);

function show_sound(on) {
    const button = by_id("sound");
    button.setAttribute("aria-pressed", on);
    button.title = on ? "Mute" : "Turn the sound on";
    body.classList.toggle("muted", !on);
}

function show_battery(percent) {
    battery.value = percent;
    by_id("percent").textContent = `${percent} %`;
    battery.parentElement.style.setProperty("--charge", `${percent}%`);
    battery.parentElement.classList.toggle("low", percent < 6);
}

function show_state(view) {
    const state = read_state(view);
    upload_mib = state.upload_mib;
    body.classList.toggle("watching", state.keys === keys_of.another_page);
    body.classList.toggle("dark-screen", !state.lit);
    body.classList.toggle("takes-files", upload_mib > 0);
    if (document.activeElement !== battery || state.keys === keys_of.another_page)
        show_battery(state.battery);
    if (state.keys === keys_of.another_page)
        keys.lift_all();
}

const readers = {
    [news.picture]: screen.show,
    [news.sound]: (view) => sound.play(view.buffer),
    [news.hush]: () => sound.hush(),
    [news.state]: show_state,
    [news.title]: (view) => { document.title = read_title(view.buffer) || "Zerv Player"; },
    [news.ended]: () => show_connection("ended"),
};

function show_connection(state) {
    body.dataset.connection = state;
    by_id("gone").textContent = state === "ended" ? "The player has ended." : "The player does not answer.";
}

function on_open() {
    wait_ms = again_ms;
    screen.clear();
    show_connection("open");
    sound.connected();
}

function on_close() {
    if (body.dataset.connection !== "ended")
        show_connection("lost");
    setTimeout(connect, wait_ms);
    wait_ms = Math.min(wait_ms * 2, again_most_ms);
}

function connect() {
    const query = token ? `?token=${encodeURIComponent(token)}` : "";
    socket = new WebSocket(`ws://${location.host}/socket${query}`, "zerv");
    socket.binaryType = "arraybuffer";
    socket.onopen = on_open;
    socket.onclose = on_close;
    socket.onmessage = (event) => {
        const view = new DataView(event.data);
        const reader = readers[view.getUint8(0)];
        if (reader)
            reader(view);
    };
}

by_id("take").addEventListener("click", () => { send(take_message()); canvas.focus(); });
by_id("sound").addEventListener("click", () => { sound.toggle(); canvas.focus(); });
by_id("add").addEventListener("click", () => by_id("files").click());
battery.addEventListener("input", () => {
    show_battery(battery.valueAsNumber);
    send(battery_message(battery.valueAsNumber));
});
battery.addEventListener("change", () => canvas.focus());
// The first touch or key allows the browser to play; the button that mutes decides for itself.
for (const touch of ["pointerdown", "keydown"])
    document.addEventListener(touch, (event) => {
        if (!event.target.closest || !event.target.closest("#sound"))
            sound.touched();
    });
// A page that the browser only puts aside must not keep the keys.
window.addEventListener("pagehide", () => socket.close());
new ResizeObserver(screen.fit).observe(by_id("stage"));
window.addEventListener("resize", screen.fit);
// Another display, or another zoom: told once for each ratio.
(function watch_ratio() {
    matchMedia(`(resolution: ${devicePixelRatio}dppx)`)
        .addEventListener("change", () => { screen.fit(); watch_ratio(); }, { once: true });
})();
screen.fit();
show_sound(false);
canvas.focus();
connect();
