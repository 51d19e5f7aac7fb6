// studio: the pictures of the skin, made anew whenever the program tells of a change.
import { make_inspector } from "./inspector.js";

const note_ms = 6000, again_ms = 1000;

const by_id = (id) => document.getElementById(id);
const inspector = make_inspector();
const buttons = new Map(); // of the pictures, by the names of their scenes
let skin = null, chosen = null, note_timer = 0;

function make(tag, text, attributes = {}) {
    const made = document.createElement(tag);
    made.textContent = text;
    for (const [name, value] of Object.entries(attributes))
        made.setAttribute(name, value);
    return made;
}

function say(text, stay) {
    clearTimeout(note_timer);
    by_id("note").textContent = text;
    if (!stay)
        note_timer = setTimeout(() => { by_id("note").textContent = ""; }, note_ms);
}

const picture_of = (scene) => `picture?scene=${encodeURIComponent(scene.name)}&made=${skin.made}`;

function choose(scene) {
    chosen = scene.name;
    for (const [name, button] of buttons)
        button.setAttribute("aria-pressed", name === chosen);
    inspector.show(skin, scene, picture_of(scene));
}

function make_picture(scene) {
    const button = make("button", "", { type: "button", "aria-pressed": "false" });
    const image = make("img", "", { alt: "", loading: "lazy", width: 320, height: 240 });
    button.append(image, make("span", `${scene.state} · ${scene.data}`));
    button.addEventListener("click", () => choose(skin.scenes.find((each) => each.name === scene.name)));
    return button;
}

function make_row(part, variant, scenes) {
    const page = skin.parts[part].pages[variant];
    const heading = make("h2", part === "list" ? "List screen" : "Play screen");
    heading.append(make("small", page ? page.file : ""));
    const row = make("div", "", { class: "row" });
    for (const scene of scenes) {
        buttons.set(scene.name, make_picture(scene));
        row.append(buttons.get(scene.name));
    }
    return [heading, row];
}

function lay_out() {
    const rows = new Map();
    for (const scene of skin.scenes) {
        const key = `${scene.part} ${scene.variant}`;
        rows.set(key, [...(rows.get(key) || []), scene]);
    }
    buttons.clear();
    by_id("pictures").replaceChildren();
    for (const [part, about] of Object.entries(skin.parts))
        if (!about.loads)
            by_id("pictures").append(make("p", `The player refuses the part "${part}", or there is none.`,
                { class: "refused" }));
    for (const scenes of rows.values())
        by_id("pictures").append(...make_row(scenes[0].part, scenes[0].variant, scenes));
}

const names_of = (about) => about && JSON.stringify([about.scenes, Object.values(about.parts).map(
    (part) => [part.loads, part.pages.map((page) => page.file)])]);

function show_verdict() {
    const plural = (count, word) => `${count} ${word}${count === 1 ? "" : "s"}`;
    const verdict = by_id("verdict");
    verdict.className = skin.errors ? "errors" : skin.warnings ? "warnings" : "";
    verdict.textContent = skin.errors + skin.warnings === 0 ? "Nothing to complain about"
        : `${plural(skin.errors, "error")}, ${plural(skin.warnings, "warning")}`;
    by_id("name").textContent = skin.name;
    document.title = `${skin.name} – Skin studio`;
}

async function read_skin() {
    const before = names_of(skin);
    skin = await (await fetch("skin.json")).json();
    show_verdict();
    if (names_of(skin) !== before)
        lay_out();
    for (const scene of skin.scenes)
        buttons.get(scene.name).firstChild.src = picture_of(scene);
    const scene = skin.scenes.find((each) => each.name === chosen) || skin.scenes[0];
    if (scene)
        choose(scene);
    else
        inspector.show_findings(skin, "");
    document.body.dataset.made = skin.made;
}

function connect() {
    const socket = new WebSocket(`ws://${location.host}/socket`, "zerv-studio");
    socket.onmessage = () => read_skin().catch(() => say("The studio does not answer."));
    socket.onclose = () => {
        say("The studio has ended. The page goes on by itself when it is back.");
        setTimeout(connect, again_ms);
    };
}

async function save(path, name) {
    say(`Making ${name} …`, true);
    const answer = await fetch(path);
    if (!answer.ok)
        return say(await answer.text());
    const link = make("a", "", { href: URL.createObjectURL(await answer.blob()), download: name });
    link.click();
    return say(`${name} is among your downloads.`);
}

async function play() {
    say("Starting the player …", true);
    const answer = await fetch("play", { method: "POST" });
    const text = await answer.text();
    if (!answer.ok)
        return say(text);
    say("");
    by_id("player").append(make("iframe", "", { src: text, allow: "autoplay", title: "The player" }));
    return by_id("player").showModal();
}

by_id("play").addEventListener("click", play);
by_id("leave").addEventListener("click", () => by_id("player").close());
by_id("player").addEventListener("close", () => by_id("player").querySelector("iframe").remove());
by_id("package").addEventListener("click", () => save("package.zip", `${skin.name}.zip`));
by_id("sheet").addEventListener("click", () => save("sheet.png", `${skin.name}.png`));
by_id("gallery").addEventListener("click", async () => {
    say("Making the gallery …", true);
    const answer = await fetch("gallery", { method: "POST" });
    say(answer.ok ? `Written to ${skin.name}-gallery, where the studio was started.` : await answer.text());
});
connect();
