#!/usr/bin/env python3
"""Writes the sample hospital: the JSON replies that the first-generation
requests read in local mode (and that tools/sample_service.py serves).

One ward, one day shift, one logged-in nurse. Every file is derived from the
tables below, so a patient keeps the same id, name and room in every reply.

Dates are written in UTC around 21 April 2015; the importer moves them onto
the current day (day 20 is yesterday, 22 tomorrow) and keeps the clock time,
so 14:30Z reads 14:30 on the device. The demonstration clock stands at 09:41,
which is what "overdue" and the task summaries below are computed against.

Usage: tools/make_sample_hospital.py [output-dir]   (default resources/sample)
"""

import json
import os
import sys

USER_ID = 7
SHIFT_ID = 3
USERNAME = "nurse"
DEMO_NOW = "2015-04-21T09:41:00Z"

ROLES = {
    1: "Nurse",
    2: "Physician",
    3: "Charge Nurse",
    4: "Case Manager",
    5: "Physical Therapist",
}

# id, first name, last name, role id, user name, phone
STAFF = [
    (7, "Maria", "Alvarez", 1, "nurse", "555-0107"),
    (8, "James", "Okafor", 1, "jokafor", "555-0108"),
    (9, "Priya", "Raman", 2, "praman", "555-0109"),
    (10, "Tom", "Becker", 3, "tbecker", "555-0110"),
    (11, "Grace", "Kim", 4, "gkim", "555-0111"),
    (12, "Luis", "Moreno", 5, "lmoreno", "555-0112"),
]

# Room ids and names of the shift's ward; the names exercise text ordering
# ("10" < "101" < "12" < "1B" < "3A" < "9").
ROOMS = [
    (21, "3A"), (22, "3B"), (23, "9"), (24, "10"), (25, "12"), (26, "101"),
    (27, "102"), (28, "1B"), (29, "20"), (30, "214"), (31, "7"), (32, "11"),
    (33, "5C"), (34, "30"),
]
ROOM_IDS = {name: rid for rid, name in ROOMS}

# The nurse's patients are 1-10; 11 and 12 belong to the other nurse.
PATIENTS = [
    dict(id=1, first="Eleanor", last="Hughes", room="3A", gender="Female", acuity=3,
         birth="1941-06-12", admitted="2015-04-17T16:20:00Z", discharged="2015-04-21T15:00:00Z",
         status=1, physician="Dr. Priya Raman", approval="Approved", disposition="Home with services",
         ambulatory="Assist x1", code="DNR", diet="Cardiac", immunization="Up to date",
         core="Heart failure", diagnoses=["Congestive heart failure"],
         medication=["Furosemide 40 mg", "Lisinopril 10 mg", "Metoprolol 25 mg"],
         allergies=["Penicillin"], problems=["Hypertension", "Atrial fibrillation"],
         barriers=["Needs home oxygen", "Lives alone"], staff=[7, 9, 11]),
    dict(id=2, first="Samuel", last="Ortiz", room="12", gender="Male", acuity=2,
         birth="1958-11-03", admitted="2015-04-19T08:05:00Z", discharged="2015-04-22T11:00:00Z",
         status=0, physician="Dr. Priya Raman", approval="Pending", disposition="Home",
         ambulatory="Independent", code="Full code", diet="Diabetic", immunization="Flu vaccine due",
         core="Pneumonia", diagnoses=["Community-acquired pneumonia"],
         medication=["Ceftriaxone 1 g", "Insulin glargine"], allergies=[],
         problems=["Type 2 diabetes"], barriers=["Awaiting chest X-ray"], staff=[7, 9]),
    dict(id=3, first="Ruth", last="Nakamura", room="101", gender="Female", acuity=4,
         birth="1936-02-28", admitted="2015-04-15T22:40:00Z", discharged="2015-04-21T08:00:00Z",
         status=1, physician="Dr. Priya Raman", approval="Approved", disposition="Skilled nursing facility",
         ambulatory="Wheelchair", code="DNR", diet="Soft", immunization="Up to date",
         core="None", diagnoses=["Hip fracture", "Osteoporosis"],
         medication=["Oxycodone 5 mg", "Enoxaparin 40 mg"], allergies=["Sulfa", "Latex"],
         problems=["Dementia"], barriers=["Bed at facility not confirmed"], staff=[7, 9, 11, 12]),
    dict(id=4, first="David", last="Chen", room="9", gender="Male", acuity=1,
         birth="1979-09-17", admitted="2015-04-20T13:15:00Z", discharged="2015-04-23T10:00:00Z",
         status=0, physician="Dr. Priya Raman", approval="Pending", disposition="Home",
         ambulatory="Independent", code="Full code", diet="Regular", immunization="Up to date",
         core="None", diagnoses=["Appendicitis"], medication=["Acetaminophen 1 g"],
         allergies=[], problems=[], barriers=[], staff=[7, 9]),
    dict(id=5, first="Grace", last="Whitfield", room="10", gender="Female", acuity=3,
         birth="1950-04-21", admitted="2015-04-18T10:30:00Z", discharged="2015-04-21T17:30:00Z",
         status=1, physician="Dr. Priya Raman", approval="Approved", disposition="Rehab",
         ambulatory="Assist x2", code="Full code", diet="Regular", immunization="Pneumococcal due",
         core="Stroke", diagnoses=["Ischemic stroke"], medication=["Aspirin 81 mg", "Atorvastatin 40 mg"],
         allergies=["Codeine"], problems=["Hyperlipidemia"],
         barriers=["Rehab insurance approval", "Family meeting"], staff=[7, 9, 11, 12]),
    dict(id=6, first="Omar", last="Haddad", room="3B", gender="Male", acuity=2,
         birth="1967-12-09", admitted="2015-04-20T19:50:00Z", discharged="2015-04-24T12:00:00Z",
         status=0, physician="Dr. Priya Raman", approval="Pending", disposition="Home",
         ambulatory="Independent", code="Full code", diet="NPO", immunization="Up to date",
         core="None", diagnoses=["Small bowel obstruction"], medication=["Ondansetron 4 mg"],
         allergies=["Morphine"], problems=["Prior abdominal surgery"], barriers=[], staff=[7, 9]),
    dict(id=7, first="Linda", last="Park", room="102", gender="Female", acuity=2,
         birth="1962-07-30", admitted="2015-04-19T15:00:00Z", discharged="2015-04-21T12:00:00Z",
         status=1, physician="Dr. Priya Raman", approval="Approved", disposition="Home",
         ambulatory="Independent", code="Full code", diet="Diabetic", immunization="Up to date",
         core="None", diagnoses=["Diabetic ketoacidosis"], medication=["Insulin lispro", "Metformin 500 mg"],
         allergies=[], problems=["Type 1 diabetes"], barriers=["Insulin teaching"], staff=[7, 9, 11]),
    dict(id=8, first="Henry", last="Brooks", room="1B", gender="Male", acuity=3,
         birth="1945-01-05", admitted="2015-04-16T07:45:00Z", discharged="2015-04-22T16:00:00Z",
         status=0, physician="Dr. Priya Raman", approval="Pending", disposition="Home with services",
         ambulatory="Walker", code="DNR", diet="Renal", immunization="Flu vaccine due",
         core="COPD", diagnoses=["COPD exacerbation", "Chronic kidney disease"],
         medication=["Prednisone 40 mg", "Albuterol inhaler", "Tiotropium"],
         allergies=["Iodine contrast"], problems=["Chronic kidney disease"],
         barriers=["Home health agency referral"], staff=[7, 9, 12]),
    dict(id=9, first="Alice", last="Moreau", room="20", gender="Female", acuity=1,
         birth="1988-05-14", admitted="2015-04-20T21:10:00Z", discharged="2015-04-21T10:30:00Z",
         status=1, physician="Dr. Priya Raman", approval="Approved", disposition="Home",
         ambulatory="Independent", code="Full code", diet="Regular", immunization="Up to date",
         core="None", diagnoses=["Migraine"], medication=["Sumatriptan 50 mg"],
         allergies=[], problems=[], barriers=[], staff=[7, 9]),
    dict(id=10, first="George", last="Adeyemi", room="214", gender="Male", acuity=2,
         birth="1955-08-22", admitted="2015-04-19T11:25:00Z", discharged="2015-04-20T18:00:00Z",
         status=1, physician="Dr. Priya Raman", approval="Approved", disposition="Home",
         ambulatory="Independent", code="Full code", diet="Low sodium", immunization="Up to date",
         core="Acute MI", diagnoses=["Non-ST elevation MI"], medication=["Clopidogrel 75 mg", "Aspirin 81 mg"],
         allergies=["Shellfish"], problems=["Hypertension"], barriers=["Cardiac rehab referral"],
         staff=[7, 9, 11]),
    dict(id=11, first="Fatima", last="Siddiqui", room="7", gender="Female", acuity=2,
         birth="1970-03-19", admitted="2015-04-20T09:00:00Z", discharged="2015-04-22T13:00:00Z",
         status=0, physician="Dr. Priya Raman", approval="Pending", disposition="Home",
         ambulatory="Independent", code="Full code", diet="Regular", immunization="Up to date",
         core="None", diagnoses=["Cellulitis"], medication=["Cefazolin 2 g"],
         allergies=[], problems=[], barriers=[], staff=[8, 9]),
    dict(id=12, first="Walter", last="Nguyen", room="11", gender="Male", acuity=3,
         birth="1939-10-01", admitted="2015-04-17T18:30:00Z", discharged="2015-04-21T14:00:00Z",
         status=1, physician="Dr. Priya Raman", approval="Approved", disposition="Skilled nursing facility",
         ambulatory="Wheelchair", code="DNR", diet="Pureed", immunization="Up to date",
         core="Sepsis", diagnoses=["Urosepsis"], medication=["Piperacillin-tazobactam"],
         allergies=["Vancomycin"], problems=["Parkinson disease"], barriers=["Guardian signature"],
         staff=[8, 9, 11]),
]
PATIENT_BY_ID = {p["id"]: p for p in PATIENTS}
USER_PATIENT_IDS = [p["id"] for p in PATIENTS if USER_ID in p["staff"]]

GROUPS = {1: "Assessments", 2: "Medications", 3: "Discharge Planning", 4: "Patient Requests"}

UNDEFINED, DISCHARGE, PATIENT_REQUEST = 0, 1, 2
NORMAL, COMPLETE, FORWARD, OVERDUE = 0, 1, 2, 3

# task id, patient id, group id, type, status, text, staff id,
# created, due, completed (or None), status description
TASKS = [
    (101, 1, 3, DISCHARGE, COMPLETE, "Review discharge instructions", 7,
     "2015-04-20T10:00:00Z", "2015-04-21T08:30:00Z", "2015-04-21T08:15:00Z", ""),
    (102, 1, 3, DISCHARGE, FORWARD, "Arrange home oxygen delivery", 11,
     "2015-04-20T10:05:00Z", "2015-04-21T13:00:00Z", None, "Oxygen supplier closed until noon"),
    (103, 1, 1, UNDEFINED, NORMAL, "Daily weight", 7,
     "2015-04-21T06:00:00Z", "2015-04-21T10:00:00Z", None, ""),
    (104, 1, 4, PATIENT_REQUEST, NORMAL, "Extra pillow", 7,
     "2015-04-21T07:10:00Z", "2015-04-21T07:30:00Z", None, ""),
    (105, 2, 1, UNDEFINED, OVERDUE, "Collect sputum sample", 7,
     "2015-04-20T18:00:00Z", "2015-04-21T06:00:00Z", None, ""),
    (106, 2, 2, UNDEFINED, NORMAL, "Insulin before lunch", 7,
     "2015-04-21T06:00:00Z", "2015-04-21T11:30:00Z", None, ""),
    (107, 2, 3, DISCHARGE, NORMAL, "Schedule follow-up appointment", 11,
     "2015-04-21T07:00:00Z", "2015-04-22T09:00:00Z", None, ""),
    (108, 3, 3, DISCHARGE, COMPLETE, "Send transfer summary to facility", 11,
     "2015-04-20T09:00:00Z", "2015-04-20T16:00:00Z", "2015-04-20T15:40:00Z", ""),
    (109, 3, 3, DISCHARGE, FORWARD, "Confirm facility bed", 11,
     "2015-04-20T09:05:00Z", "2015-04-21T09:00:00Z", None, "Facility has not called back"),
    (110, 3, 1, UNDEFINED, COMPLETE, "Physical therapy evaluation", 12,
     "2015-04-20T12:00:00Z", "2015-04-21T08:00:00Z", "2015-04-21T07:55:00Z",
     "Resolved: therapist came early"),
    (111, 3, 2, UNDEFINED, NORMAL, "Pain reassessment", 7,
     "2015-04-21T08:00:00Z", "2015-04-21T09:15:00Z", None, ""),
    (112, 4, 1, UNDEFINED, NORMAL, "Check incision site", 7,
     "2015-04-21T06:30:00Z", "2015-04-21T12:00:00Z", None, ""),
    (113, 4, 4, PATIENT_REQUEST, NORMAL, "Help to the bathroom", 7,
     "2015-04-21T09:20:00Z", "2015-04-21T09:30:00Z", None, ""),
    (114, 4, 3, DISCHARGE, NORMAL, "Teach wound care", 7,
     "2015-04-21T07:00:00Z", "2015-04-23T09:00:00Z", None, ""),
    (115, 5, 3, DISCHARGE, COMPLETE, "Medication reconciliation", 9,
     "2015-04-20T08:00:00Z", "2015-04-21T07:00:00Z", "2015-04-21T06:50:00Z", ""),
    (116, 5, 3, DISCHARGE, OVERDUE, "Rehab insurance authorization", 11,
     "2015-04-19T14:00:00Z", "2015-04-20T17:00:00Z", None, ""),
    (117, 5, 1, UNDEFINED, NORMAL, "Swallow screen", 12,
     "2015-04-21T06:00:00Z", "2015-04-21T14:00:00Z", None, ""),
    (118, 5, 4, PATIENT_REQUEST, COMPLETE, "Call daughter", 7,
     "2015-04-21T06:40:00Z", "2015-04-21T07:00:00Z", "2015-04-21T07:05:00Z", ""),
    (119, 6, 2, UNDEFINED, NORMAL, "Nasogastric tube check", 7,
     "2015-04-21T04:00:00Z", "2015-04-21T16:00:00Z", None, ""),
    (120, 6, 1, UNDEFINED, FORWARD, "Abdominal X-ray", 9,
     "2015-04-21T05:00:00Z", "2015-04-21T10:30:00Z", None, "Radiology backlog"),
    (121, 7, 3, DISCHARGE, NORMAL, "Insulin pen teaching", 7,
     "2015-04-20T16:00:00Z", "2015-04-21T10:00:00Z", None, ""),
    (122, 7, 3, DISCHARGE, COMPLETE, "Diabetes educator visit", 11,
     "2015-04-20T16:05:00Z", "2015-04-21T08:00:00Z", "2015-04-21T08:20:00Z", ""),
    (123, 7, 3, DISCHARGE, NORMAL, "Prescriptions to pharmacy", 9,
     "2015-04-21T07:30:00Z", "2015-04-21T11:00:00Z", None, ""),
    (124, 8, 2, UNDEFINED, OVERDUE, "Nebulizer treatment", 7,
     "2015-04-21T04:00:00Z", "2015-04-21T08:00:00Z", None, ""),
    (125, 8, 3, DISCHARGE, NORMAL, "Home health referral", 11,
     "2015-04-21T07:00:00Z", "2015-04-22T12:00:00Z", None, ""),
    (126, 8, 4, PATIENT_REQUEST, NORMAL, "Water refill", 7,
     "2015-04-21T09:00:00Z", "2015-04-21T09:10:00Z", None, ""),
    (127, 9, 3, DISCHARGE, COMPLETE, "Discharge instructions signed", 7,
     "2015-04-21T06:00:00Z", "2015-04-21T09:00:00Z", "2015-04-21T08:45:00Z", ""),
    (128, 9, 3, DISCHARGE, NORMAL, "Confirm ride home", 7,
     "2015-04-21T06:00:00Z", "2015-04-21T10:15:00Z", None, ""),
    (129, 10, 3, DISCHARGE, COMPLETE, "Cardiac rehab referral", 11,
     "2015-04-19T11:00:00Z", "2015-04-20T12:00:00Z", "2015-04-20T11:30:00Z", ""),
    (130, 10, 3, DISCHARGE, FORWARD, "Final echocardiogram", 9,
     "2015-04-20T08:00:00Z", "2015-04-20T15:00:00Z", None, "Echo machine out of service"),
    (131, 11, 2, UNDEFINED, NORMAL, "IV antibiotic dose", 8,
     "2015-04-21T06:00:00Z", "2015-04-21T12:00:00Z", None, ""),
    (132, 11, 3, DISCHARGE, NORMAL, "Wound photo for chart", 8,
     "2015-04-21T06:10:00Z", "2015-04-22T10:00:00Z", None, ""),
    (133, 12, 3, DISCHARGE, FORWARD, "Guardian consent for transfer", 11,
     "2015-04-20T13:00:00Z", "2015-04-21T09:30:00Z", None, "Guardian unreachable by phone"),
    (134, 12, 1, UNDEFINED, COMPLETE, "Blood cultures", 8,
     "2015-04-20T20:00:00Z", "2015-04-21T05:00:00Z", "2015-04-21T05:20:00Z", ""),
]

# notification id, type, status, task id, date, text
NOTIFICATIONS = [
    (501, 1, 0, 105, "2015-04-21T07:15:00Z", "Sputum culture received by the lab"),
    (502, 2, 0, 119, "2015-04-21T09:05:00Z", "Feeding pump occlusion alarm in room 3B"),
    (503, 3, 0, 109, "2015-04-21T08:50:00Z", "Ward at full capacity: expedite discharges"),
    (504, 0, 1, 121, "2015-04-20T17:00:00Z", "Family asked about visiting hours"),
    (505, 1, 1, 130, "2015-04-20T14:30:00Z", "Troponin results available"),
    (506, 3, 1, 102, "2015-04-21T06:30:00Z", "Fire drill at 14:00"),
]


def is_overdue(task):
    """Open and due at or before the demonstration clock."""
    return task[4] != COMPLETE and task[8] <= DEMO_NOW


def room_json(name):
    return {"id": ROOM_IDS[name], "name": name}


def patient_brief(p):
    """A patient as it is nested in tasks, rooms and notifications."""
    return {
        "patientId": p["id"],
        "fName": p["first"],
        "lName": p["last"],
        "roomNumber": p["room"],
        "gender": p["gender"],
        "acuity": p["acuity"],
        "birthdate": p["birth"],
        "admittedDate": p["admitted"],
        "dischargedDate": p["discharged"],
        "physician": p["physician"],
        "staffIds": p["staff"],
        "room": room_json(p["room"]),
    }


def patient_summary(p):
    """Everything about a patient except their tasks."""
    return {
        "doctorApproval": p["approval"],
        "dischargeDisposition": p["disposition"],
        "patientId": p["id"],
        "fName": p["first"],
        "lName": p["last"],
        "roomNumber": p["room"],
        "gender": p["gender"],
        "acuity": p["acuity"],
        "birthdate": p["birth"],
        "ambulatoryStatus": p["ambulatory"],
        "codeStatus": p["code"],
        "dietType": p["diet"],
        "immunizationStatus": p["immunization"],
        "coreMeasures": p["core"],
        "admittedDate": p["admitted"],
        "status": p["status"],
        "physician": p["physician"],
        "dischargedDate": p["discharged"],
        "diagnoses": p["diagnoses"],
        "medication": p["medication"],
        "allergies": p["allergies"],
        "medicalProblems": p["problems"],
        "barriers": p["barriers"],
        "staffIds": p["staff"],
        "room": room_json(p["room"]),
    }


def patient_full(p):
    out = patient_summary(p)
    out["tasks"] = [{"task": task_json(t)} for t in tasks_of_patient(p["id"])]
    return out


def task_json(t):
    (task_id, patient_id, group_id, kind, status, text, staff_id,
     created, due, completed, description) = t
    out = {
        "taskId": task_id,
        "groupId": group_id,
        "patient": patient_brief(PATIENT_BY_ID[patient_id]),
        "createdDate": created,
        "type": kind,
        "status": status,
        "statusDescription": description,
        "text": text,
        "staffId": staff_id,
        "dueDate": due,
    }
    if completed is not None:
        out["completedDate"] = completed
    return out


def tasks_of_patient(patient_id):
    return [t for t in TASKS if t[1] == patient_id]


def user_tasks():
    return [t for t in TASKS if t[1] in USER_PATIENT_IDS]


def task_summary(patient_id):
    tasks = tasks_of_patient(patient_id)
    return {
        "open": sum(1 for t in tasks if t[4] != COMPLETE),
        "completed": sum(1 for t in tasks if t[4] == COMPLETE),
        "patientId": patient_id,
        "overdue": sum(1 for t in tasks if is_overdue(t)),
    }


def staff_json(member, with_patients=False):
    staff_id, first, last, role_id, username, phone = member
    info = {"username": username}
    if with_patients:
        info["patients"] = [patient_full(PATIENT_BY_ID[i]) for i in USER_PATIENT_IDS]
    return {
        "fName": first,
        "id": staff_id,
        "lName": last,
        "shiftId": SHIFT_ID,
        "image": "staff%d.png" % staff_id,
        "info": info,
        "role": {"id": role_id, "label": ROLES[role_id]},
        "phoneNumber": phone,
    }


def staff_summary(staff_id):
    tasks = [t for t in TASKS if t[6] == staff_id]
    return {
        "staffId": staff_id,
        "completedTasks": sum(1 for t in tasks if t[4] == COMPLETE),
        "remainingTasks": sum(1 for t in tasks if t[4] != COMPLETE),
        "reportedIssues": sum(1 for t in tasks if t[10] and t[4] != COMPLETE),
        "overdueTasks": [task_json(t) for t in tasks if is_overdue(t)],
    }


def staff_issues(staff_id):
    return [t[10] for t in TASKS if t[6] == staff_id and t[10] and t[4] != COMPLETE]


def task_by_id(task_id):
    return next(t for t in TASKS if t[0] == task_id)


def notification_json(n):
    notification_id, kind, status, task_id, date, text = n
    task = task_by_id(task_id)
    return {
        "notificationId": notification_id,
        "task": task_json(task),
        "date": date,
        "patient": patient_brief(PATIENT_BY_ID[task[1]]),
        "text": text,
        "type": kind,
        "status": status,
    }


def rooms_json():
    occupant = {p["room"]: p for p in PATIENTS}
    rooms = []
    for room_id, name in ROOMS:
        room = {"id": room_id, "name": name}
        if name in occupant:
            room["patient"] = patient_brief(occupant[name])
        rooms.append(room)
    return rooms


def grouped_user_tasks():
    groups = []
    for group_id, label in GROUPS.items():
        tasks = [task_json(t) for t in user_tasks() if t[2] == group_id]
        groups.append({"label": label, "tasks": tasks})
    return groups


def patients_tasks(ids):
    return {"tasks": [{"patientId": i, "tasks": [task_json(t) for t in tasks_of_patient(i)]}
                      for i in ids]}


def replies():
    """Resource name (without ".json") to reply object."""
    user = "user.%d" % USER_ID
    shift = "user.shift.%d" % SHIFT_ID
    user_patients = [PATIENT_BY_ID[i] for i in USER_PATIENT_IDS]
    out = {
        "authentication": {"staffMember": staff_json(STAFF[0], with_patients=True)},
        user + ".notifications": {"notifications": [notification_json(n) for n in NOTIFICATIONS]},
        user + ".patients": {"patients": [patient_full(p) for p in user_patients]},
        user + ".tasks": {"userTasks": [task_json(t) for t in user_tasks()]},
        user + ".tasks.grouped": {"tasks": grouped_user_tasks()},
        user + ".barriers.grouped": {
            "patients": [patient_summary(p) for p in user_patients if p["barriers"]]},
        user + ".tasksummary": {"taskStatusSummary": [task_summary(p["id"]) for p in user_patients]},
        user + ".patientsandtasks": {
            "patients": [patient_full(p) for p in user_patients],
            "taskStatusSummary": [task_summary(p["id"]) for p in user_patients]},
        shift: {"staff": [staff_json(m) for m in STAFF],
                "staffSummary": [staff_summary(m[0]) for m in STAFF]},
        shift + ".rooms": {"rooms": rooms_json()},
        "allTasks": {"allTasks": [task_json(t) for t in TASKS]},
        "patients.1.2.3.tasks": patients_tasks([1, 2, 3]),
        "patients." + ".".join(str(i) for i in USER_PATIENT_IDS) + ".tasks":
            patients_tasks(USER_PATIENT_IDS),
    }
    for member in STAFF:
        out["user.%d.issues" % member[0]] = {"issues": staff_issues(member[0])}
    for p in PATIENTS:
        out["patient.%d" % p["id"]] = {"patient": patient_full(p)}
        out["patient.%d.summary" % p["id"]] = {"patient": patient_summary(p)}
        out["patient.%d.tasks" % p["id"]] = {
            "patientTasks": [task_json(t) for t in tasks_of_patient(p["id"])]}
        staff = [m for m in STAFF if m[0] in p["staff"]]
        out["patient.%d.users" % p["id"]] = {"staff": [staff_json(m) for m in staff]}
    return out


def dump(value, indent=0):
    """Pretty JSON with arrays of plain values kept on one line."""
    pad = "  " * indent
    inner = "  " * (indent + 1)
    if isinstance(value, dict):
        if not value:
            return "{}"
        if len(value) <= 2 and all(not isinstance(v, (dict, list)) for v in value.values()):
            return "{" + ", ".join("%s: %s" % (json.dumps(k), json.dumps(v, ensure_ascii=False))
                                   for k, v in value.items()) + "}"
        items = ['%s%s: %s' % (inner, json.dumps(k), dump(v, indent + 1)) for k, v in value.items()]
        return "{\n" + ",\n".join(items) + "\n" + pad + "}"
    if isinstance(value, list):
        if all(not isinstance(v, (dict, list)) for v in value):
            return "[" + ", ".join(json.dumps(v, ensure_ascii=False) for v in value) + "]"
        items = [inner + dump(v, indent + 1) for v in value]
        return "[\n" + ",\n".join(items) + "\n" + pad + "]"
    return json.dumps(value, ensure_ascii=False)


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    out_dir = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "..", "resources", "sample")
    os.makedirs(out_dir, exist_ok=True)
    for old in os.listdir(out_dir):
        if old.endswith(".json"):
            os.remove(os.path.join(out_dir, old))
    files = replies()
    for name, reply in sorted(files.items()):
        with open(os.path.join(out_dir, name + ".json"), "w", encoding="utf-8") as f:
            f.write(dump(reply) + "\n")
    print("wrote %d files to %s" % (len(files), os.path.normpath(out_dir)))


if __name__ == "__main__":
    main()
