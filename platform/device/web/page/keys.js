// keys: the keyboard, and the buttons around the picture. The masks are those of platform/input/key.h, the codes
// those of platform/input/key_code.h: what a key of the keyboard means is for the player's keys.txt to say.
import { code_message, key_message } from "./wire.js";

const masks = {
    up: 0x1, down: 0x10, left: 0x4, right: 0x40, page_up: 0x400, page_down: 0x800, select: 0x2000,
    menu: 0x1000, reload: 0x8000, switch: 0x4000, back: 0x200, quit: 0x100, vol_up: 0x10000,
    vol_down: 0x20000, play: 0x100000, stop: 0x200000, prev: 0x400000, next: 0x800000,
};

const keyboard = {
    ArrowUp: "up", ArrowDown: "down", ArrowLeft: "left", ArrowRight: "right", PageUp: "page_up",
    PageDown: "page_down", Enter: "select", " ": "menu", Tab: "switch", Escape: "back",
    Backspace: "back", q: "quit", r: "reload", "+": "vol_up", "=": "vol_up", "-": "vol_down",
    MediaPlayPause: "play", MediaStop: "stop", MediaTrackPrevious: "prev", MediaTrackNext: "next",
};

// By what stands on the key. F5 is the browser's: R has its code instead.
const codes = {
    ArrowUp: 103, ArrowDown: 108, ArrowLeft: 105, ArrowRight: 106, PageUp: 104, PageDown: 109, Enter: 28,
    " ": 57, Tab: 15, Escape: 1, Backspace: 14, r: 63, "+": 78, "=": 13, "-": 12, MediaPlayPause: 164,
    MediaStop: 166, MediaTrackPrevious: 165, MediaTrackNext: 163, Insert: 110, Delete: 111, Home: 102, End: 107,
    F2: 60, F3: 61, F4: 62, F6: 64, F7: 65, F8: 66, F9: 67, F10: 68,
    q: 16, w: 17, e: 18, t: 20, y: 21, u: 22, i: 23, o: 24, p: 25, a: 30, s: 31, d: 32, f: 33, g: 34, h: 35,
    j: 36, k: 37, l: 38, z: 44, x: 45, c: 46, v: 47, b: 48, n: 49, m: 50, ",": 51, ".": 52,
    1: 2, 2: 3, 3: 4, 4: 5, 5: 6, 6: 7, 7: 8, 8: 9, 9: 10, 0: 11,
};

const wheel_steps_most = 5; // of one turn: a touch pad reports dozens

export function make_keys(canvas, buttons, send) {
    const down = new Map(); // what holds a key, a code of the keyboard or a button: the key

    // The button of a key lights up by the key's usual meaning.
    const key_of = (name) => ({ id: name, name, message: (on) => key_message(masks[name], on) });
    const code_of = (code, name) => ({ id: code, name, message: (on) => code_message(code, on) });

    const is_down = (key) => [...down.values()].some((each) => each.id === key.id);

    function press(by, key) {
        if (down.has(by))
            return;
        down.set(by, key);
        send(key.message(true));
        light();
    }

    function lift(by) {
        const key = down.get(by);
        if (!down.delete(by) || is_down(key))
            return;
        send(key.message(false));
        light();
    }

    const lift_all = () => [...down.keys()].forEach(lift);

    function light() {
        const lit = [...down.values()].map((key) => key.name);
        for (const button of buttons)
            button.classList.toggle("pressed", lit.includes(button.dataset.key));
    }

    function tap(name) {
        press("tap", key_of(name));
        lift("tap");
    }

    // Controls of the page keep the keys that they are worked with.
    function is_for_the_page(event) {
        const on = event.target;
        if (event.ctrlKey || event.altKey || event.metaKey)
            return true;
        if (on instanceof HTMLInputElement)
            return event.key !== "Escape";
        if (event.key === "Tab")
            return event.shiftKey || on instanceof HTMLButtonElement;
        return on instanceof HTMLButtonElement && (event.key === "Enter" || event.key === " ");
    }

    document.addEventListener("keydown", (event) => {
        const key = event.key.length === 1 ? event.key.toLowerCase() : event.key;
        if (!Object.hasOwn(codes, key) || is_for_the_page(event))
            return;
        if (Object.hasOwn(keyboard, key)) // what means nothing by itself stays the browser's, too
            event.preventDefault();
        if (!event.repeat) // the player repeats at its own pace
            press(event.code || event.key, code_of(codes[key], keyboard[key]));
    });
    document.addEventListener("keyup", (event) => lift(event.code || event.key));
    window.addEventListener("blur", lift_all);

    for (const button of buttons) {
        const name = button.dataset.key;
        button.addEventListener("pointerdown", (event) => {
            if (event.button !== 0)
                return;
            button.setPointerCapture(event.pointerId);
            press(button, key_of(name));
        });
        for (const end of ["pointerup", "pointercancel", "lostpointercapture"])
            button.addEventListener(end, () => lift(button));
        // The keyboard, and whatever else clicks without a pointer.
        button.addEventListener("click", (event) => { if (event.detail === 0) tap(name); });
        button.addEventListener("contextmenu", (event) => event.preventDefault());
    }

    canvas.addEventListener("contextmenu", (event) => {
        event.preventDefault();
        tap("back");
    });
    canvas.addEventListener("wheel", (event) => {
        event.preventDefault();
        const step = event.deltaMode === 0 ? 40 : 1; // pixels, or lines
        const turns = Math.min(Math.ceil(Math.abs(event.deltaY) / step), wheel_steps_most);
        for (let i = 0; i < turns; i++)
            tap(event.deltaY < 0 ? "up" : "down");
    }, { passive: false });

    return { lift_all };
}
