// keys: the keyboard, and the buttons around the picture. The masks are those of platform/input/key.h.
import { key_message } from "./wire.js";

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

const wheel_steps_most = 5; // of one turn: a touch pad reports dozens

export function make_keys(canvas, buttons, send) {
    const down = new Map(); // what holds a key: a code of the keyboard, or a button

    function press(by, name) {
        if (down.has(by))
            return;
        down.set(by, name);
        send(key_message(masks[name], true));
        light(name);
    }

    function lift(by) {
        const name = down.get(by);
        if (!down.delete(by) || [...down.values()].includes(name))
            return;
        send(key_message(masks[name], false));
        light(name);
    }

    const lift_all = () => [...down.keys()].forEach(lift);

    function light(name) {
        for (const button of buttons)
            button.classList.toggle("pressed", [...down.values()].includes(button.dataset.key));
    }

    function tap(name) {
        press("tap", name);
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
        const name = keyboard[event.key.length === 1 ? event.key.toLowerCase() : event.key];
        if (!name || is_for_the_page(event))
            return;
        event.preventDefault();
        if (!event.repeat) // the player repeats at its own pace
            press(event.code || event.key, name);
    });
    document.addEventListener("keyup", (event) => lift(event.code || event.key));
    window.addEventListener("blur", lift_all);

    for (const button of buttons) {
        const name = button.dataset.key;
        button.addEventListener("pointerdown", (event) => {
            if (event.button !== 0)
                return;
            button.setPointerCapture(event.pointerId);
            press(button, name);
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
