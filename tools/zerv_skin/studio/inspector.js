// inspector: one picture, its elements as boxes and as a list, and what check finds in its file.

const scale = 2; // the picture's size in the page
const small_side = 24; // a finger wants more, see the skin maker's guide
const about_contrast = new Set(["low-contrast", "strip-contrast"]);

const by_id = (id) => document.getElementById(id);

function make(tag, text, attributes = {}) {
    const made = document.createElement(tag);
    made.textContent = text;
    for (const [name, value] of Object.entries(attributes))
        made.setAttribute(name, value);
    return made;
}

// A text without a box reaches to the edge of the screen, and is as high as its letters.
function box_of(element) {
    const w = element.w || Math.max(320 - element.x, 1);
    const h = element.h || Math.round((element.size || 12) * 1.25);
    return { x: element.x, y: element.y, w, h };
}

// A finding belongs to the element whose tag, or one of whose attributes, stands in its line.
function belongs(finding, element) {
    return finding.element === element.name &&
        (finding.line === element.line || element.attributes.some(([name, , line]) =>
            name === finding.attribute && line === finding.line));
}

export function make_inspector() {
    const overlay = by_id("overlay");
    let parts = []; // what shows each element: [box, item], and each finding: [item]
    let pinned = null;

    function mark(key, on) {
        for (const [each, things] of parts)
            if (each === key)
                for (const thing of things)
                    thing.classList.toggle("on", on);
    }

    function point_at(key) {
        for (const [each] of parts)
            mark(each, each === key);
        if (key !== null && pinned !== key)
            parts.find(([each]) => each === key)?.[1].find((thing) => thing.matches("li"))
                ?.scrollIntoView({ block: "nearest" });
    }

    // Under the mouse and in the lists, each linked with the other; a click holds it.
    function link(key, thing) {
        const found = parts.find(([each]) => each === key);
        if (found)
            found[1].push(thing);
        else
            parts.push([key, [thing]]);
        thing.addEventListener("pointerenter", () => point_at(key));
        thing.addEventListener("pointerleave", () => point_at(pinned));
        thing.addEventListener("click", () => {
            pinned = pinned === key ? null : key;
            point_at(pinned);
        });
    }

    // Under the mouse: what it is, where it stands, and what is wrong with it.
    function about(element, findings) {
        return [`${element.name}, line ${element.line}`,
            ...element.attributes.map(([name, value]) => `${name}="${value}"`),
            ...(element.contrast ? [`contrast ${element.contrast.toFixed(1)} to 1`] : []),
            ...findings.map((each) => `${each.level}: ${each.message}`)].join("\n");
    }

    function make_box(element, findings) {
        const { x, y, w, h } = box_of(element);
        const box = make("button", "", { type: "button", class: "box", "data-size": `${w} × ${h}`,
            title: about(element, findings) });
        Object.assign(box.style, { left: `${x * scale}px`, top: `${y * scale}px`,
            width: `${w * scale}px`, height: `${h * scale}px` });
        if (element.contrast)
            box.dataset.contrast = element.contrast.toFixed(1);
        box.classList.toggle("touch", element.touch);
        box.classList.toggle("small", Math.min(w, h) < small_side);
        box.classList.toggle("pale", findings.some((each) => about_contrast.has(each.code)));
        return box;
    }

    function make_item(element) {
        const item = make("li", "");
        item.append(make("span", `line ${element.line}`, { class: "line" }), make("b", element.name), " ",
            make("code", element.attributes.map(([name, value]) => `${name}="${value}"`).join(" ")));
        return item;
    }

    function make_finding(finding) {
        const item = make("li", "", { class: finding.level });
        const place = finding.line ? `${finding.file}:${finding.line}` : finding.file;
        item.append(make("span", place, { class: "line" }), make("b", finding.code), " ", finding.message);
        return item;
    }

    function show_elements(page, findings) {
        const boxes = [], items = [];
        page.elements.forEach((element, index) => {
            const own = findings.filter((each) => belongs(each, element));
            const box = make_box(element, own), item = make_item(element);
            link(index, box);
            link(index, item);
            boxes.push([box_of(element), box]);
            items.push(item);
        });
        // What is small lies on top, so that the mouse reaches it.
        boxes.sort(([a], [b]) => b.w * b.h - a.w * a.h);
        overlay.replaceChildren(...boxes.map(([, box]) => box));
        by_id("elements").replaceChildren(...items);
    }

    // Those of the file first; the others belong to another variant, or to the package.
    function show_findings(skin, file, page) {
        const order = (finding) => (finding.file === file ? 0 : 1);
        const all = [...skin.findings].sort((a, b) => order(a) - order(b));
        const items = all.map((finding) => {
            const item = make_finding(finding);
            const index = page && finding.file === file
                ? page.elements.findIndex((element) => belongs(finding, element)) : -1;
            if (index >= 0)
                link(index, item);
            return item;
        });
        by_id("findings").replaceChildren(...items);
        if (items.length === 0)
            by_id("findings").append(make("li", "Nothing to complain about.", { class: "none" }));
        by_id("count").textContent = items.length || "";
    }

    for (const [id, word] of [["boxes", "boxes"], ["grid", "grid"], ["touch", "touching"], ["contrast", "contrasts"]])
        by_id(id).addEventListener("change", (event) => overlay.classList.toggle(word, event.target.checked));
    overlay.classList.add("boxes");

    return {
        show(skin, scene, picture) {
            const page = skin.parts[scene.part].pages[scene.variant] || { file: "", elements: [] };
            const findings = skin.findings.filter((each) => each.file === page.file);
            parts = [];
            by_id("title").textContent = `${scene.part} · ${scene.state} · ${scene.data}`;
            by_id("file").textContent = page.file;
            by_id("big").src = picture;
            show_elements(page, findings);
            show_findings(skin, page.file, page);
            if (!parts.some(([key]) => key === pinned))
                pinned = null;
            point_at(pinned);
        },
        show_findings,
    };
}
